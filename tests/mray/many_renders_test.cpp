// A renderer process lives for a whole sequence of frames: a hundred whole renders of one crowd in
// one process must give the renderer all its memory back and leave the heap where the first left
// it.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

#include "host/locks.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/render_session.h"
#include "tests/support/crowd_fixture.h"
#include "tests/support/plugin_scenario.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers' own count of the bytes their allocator has handed out and not taken back.
extern "C" size_t __sanitizer_get_current_allocated_bytes(void);
#endif

namespace {

// Bytes the process's heap holds now. Under a sanitizer its own allocator does the counting.
// glibc keeps a few freed blocks of each size per thread for reuse and counts them as in use,
// so the plain build counts in a process started without that per-thread cache.
constexpr char no_thread_cache[] = "glibc.malloc.tcache_count=0";
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
size_t heap_in_use() {
  return __sanitizer_get_current_allocated_bytes();
}
bool heap_count_exact() {
  return true;
}
#else
size_t heap_in_use() {
  return mallinfo2().uordblks;
}
bool heap_count_exact() {
  const char* tunables = std::getenv("GLIBC_TUNABLES");
  return tunables != nullptr && std::strstr(tunables, no_thread_cache) != nullptr;
}
#endif

// Runs this suite again in a process of its own started with an exact heap count.
void rerun_with_exact_heap_count() {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    setenv("GLIBC_TUNABLES", no_thread_cache, 1);
    execl("/proc/self/exe", "many_renders_test", "--gtest_filter=ManyRenders.*", nullptr);
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the rerun failed, see above";
}

TEST(ManyRenders, EveryRenderGivesItsMemoryBack) {
  if (!heap_count_exact()) return rerun_with_exact_heap_count();
  plugin_test::in_child([] {
    auto plugin = plugin_test::load_built_plugin();
    ASSERT_TRUE(plugin);
    host::set_verbosity(0);
    constexpr int agents = 12;
    const auto dir = crowd_test::fs::path(testing::TempDir()) / "many_renders";
    crowd_test::write_crowd_files(dir, agents);
    const host::Scene scene = crowd_test::crowd_scene(dir, agents);

    std::string first_text;  // the database text of the first render, kept from then on
    size_t after_first = 0, largest = 0;
    for (int render = 0; render < 100; ++render) {
      {
        host::RenderSession session(*plugin);
        std::string error;
        ASSERT_TRUE(session.start(&error)) << error;
        const host::RenderReport report = session.render(scene);
        ASSERT_EQ(report.assemblies.size(), static_cast<size_t>(agents));
        if (render == 0)
          first_text = crowd_test::dump_text({report});
        else
          ASSERT_EQ(crowd_test::dump_text({report}), first_text) << "render " << render;
      }
      for (const host::Message& message : host::messages())
        ASSERT_GT(message.level, host::Level::warning)
            << "render " << render << ": " << message.text;
      host::clear_messages();
      ASSERT_TRUE(host::memory_in_use().empty()) << "render " << render;
      ASSERT_EQ(host::memory_release_faults(), 0u);
      ASSERT_EQ(host::lock_depth(host::global_lock()), 0);
      const size_t heap = heap_in_use();
      if (render == 0) after_first = heap;
      largest = std::max(largest, heap);
    }
    // The first render loads the agent types, meshes and pose caches the engine keeps; later
    // renders give back all they take but their render record (about 130 bytes in five blocks,
    // under 256 with the allocator's headers). 1 KiB spares an allocator's change of bookkeeping.
    EXPECT_LE(largest, after_first + 99 * 256 + 1024)
        << "the heap grew by " << largest - after_first << " bytes over 99 renders";
  });
}

}  // namespace
