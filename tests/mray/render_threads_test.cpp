// A renderer builds assemblies from all its threads at once. Three hundred agents of three agent
// types, with motion blur and a render pass, built by sixteen threads calling asm_exec side by
// side, must give the scene database the single-threaded render gives, byte for byte.
#include <gtest/gtest.h>

#include <string>

#include "host/locks.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/render_session.h"
#include "tests/support/crowd_fixture.h"
#include "tests/support/plugin_scenario.h"

namespace {

TEST(RenderThreads, SixteenThreadsBuildTheDatabaseOneThreadBuilds) {
  plugin_test::in_child([] {
    auto plugin = plugin_test::load_built_plugin();
    ASSERT_TRUE(plugin);
    host::set_verbosity(0);
    constexpr int agents = 300;
    const auto dir = crowd_test::fs::path(testing::TempDir()) / "render_threads";
    crowd_test::write_crowd_files(dir, agents);
    const host::Scene scene = crowd_test::crowd_scene(dir, agents);

    std::string texts[2];
    for (int round = 0; round < 2; ++round) {
      host::RenderSession session(*plugin);
      session.set_threads(round == 0 ? 1 : 16);
      std::string error;
      ASSERT_TRUE(session.start(&error)) << error;
      const host::RenderReport report = session.render(scene);
      ASSERT_EQ(report.assemblies.size(), static_cast<size_t>(agents));
      for (const host::AssemblyRun& run : report.assemblies)
        ASSERT_TRUE(run.executed && run.result != 0) << run.name;
      texts[round] = crowd_test::dump_text({report});
    }
    for (const host::Message& message : host::messages())
      EXPECT_GT(message.level, host::Level::warning) << message.text;
    EXPECT_EQ(host::lock_depth(host::global_lock()), 0);
    EXPECT_TRUE(host::memory_in_use().empty());
    // Every agent's own pose: the last agent (a ghost, id 300) stands at x = 300 in frame 12.
    EXPECT_NE(texts[0].find("assembly \"asm_300\" from instance \"ghost_300_inst\""),
              std::string::npos);
    EXPECT_NE(texts[0].find("vertex 0: position (300 0 0) motion (300 0 0)"), std::string::npos);
    EXPECT_EQ(texts[1], texts[0]);
  });
}

}  // namespace
