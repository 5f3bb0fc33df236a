// `hordera inspect` as a user runs it: a scene with one broken instance is reported with its
// line while the other instances still reach the plug-in; bad arguments fail with a clear
// message.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

struct CommandRun {
  int status;
  std::string out;
  std::string err;
};

CommandRun run(const std::string& arguments) {
  const std::filesystem::path err_file =
      std::filesystem::temp_directory_path() / ("inspect_err_" + std::to_string(getpid()));
  const std::string command =
      std::string(HORDERA_COMMAND_PATH) + " " + arguments + " 2>" + err_file.string();
  CommandRun result{-1, {}, {}};
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return result;
  std::array<char, 4096> buffer;
  size_t read;
  while ((read = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
    result.out.append(buffer.data(), read);
  const int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream in(err_file);
  result.err.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  std::filesystem::remove(err_file);
  return result;
}

std::string write_scene(const std::string& name, const std::string& text) {
  const std::filesystem::path path = std::filesystem::temp_directory_path() / name;
  std::ofstream(path) << text;
  return path.string();
}

TEST(InspectCommand, BrokenInstanceIsReportedAndTheOthersStillLoad) {
  const std::string scene = write_scene("inspect_broken.mi", R"(options "opt"
    "render_pass" "beauty"
end options
instance "man_7_inst"
    geometry "hordera_mray"(
        "id" 7,
        "paramStr" "a.cdl a.apf 1",
        "bbox_min" -1.5 0 -0.25,
        "bbox_max" 1.5 2 0.25
    )
end instance
instance "man_8_inst"
    geometry "hordera_mray"(
        "id" eight,
        "paramStr" "b.cdl b.apf 1"
    )
end instance
instance "man_9_inst"
    geometry "hordera_mray"( "id" 9, "paramStr" "c.cdl c.apf 1" )
end instance
)");
  const CommandRun result = run("inspect " + scene);
  EXPECT_EQ(result.status, 1) << result.err;
  EXPECT_NE(result.err.find(scene + ":14: parameter \"id\" needs one integer"), std::string::npos)
      << result.err;
  EXPECT_NE(result.out.find("instances read: 2\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("assembly \"asm_7\" box (-1.5 0 -0.25) (1.5 2 0.25) from instance "
                            "\"man_7_inst\", built, freed"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("assembly \"asm_9\""), std::string::npos);
  EXPECT_EQ(result.out.find("asm_8"), std::string::npos);
  EXPECT_NE(result.out.find("  debug: -->resolve option: render_pass name=beauty\n"),
            std::string::npos);
  EXPECT_NE(result.err.find("hordera 4.1.18 initialised"), std::string::npos);
  std::filesystem::remove(scene);
}

TEST(InspectCommand, CleanSceneSucceedsAndRendersEveryRenderStatement) {
  const std::string scene = write_scene("inspect_clean.mi", R"(
instance "man_1_inst" geometry "hordera_mray"( "id" 1 ) end instance
render "root" "cam" "opt"
render "root" "cam" "opt"
)");
  const CommandRun result = run("inspect " + scene);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("render 1: 1 geometry-shader calls, 0 assemblies"), std::string::npos);
  EXPECT_NE(result.out.find("render 2: 1 geometry-shader calls, 0 assemblies"), std::string::npos);
  // Without an options block the render still has options, with neither custom option: no
  // pass name and no motion blur (the engine start alone would have left motion blur on).
  EXPECT_NE(result.out.find("  debug: -->resolve option: render_pass name=(null)\n"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("  debug: -->resolve option: motion_blur=0\n"), std::string::npos);
  std::filesystem::remove(scene);
}

TEST(InspectCommand, BadArgumentsFailWithAClearMessage) {
  CommandRun result = run("inspect /nonexistent/scene.mi");
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("/nonexistent/scene.mi: cannot open the scene file"),
            std::string::npos);

  const std::string scene = write_scene("inspect_plugin.mi", "\n");
  result = run("inspect --plugin /nonexistent/hordera.so " + scene);
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("/nonexistent/hordera.so: cannot load the plug-in"), std::string::npos)
      << result.err;
  std::filesystem::remove(scene);

  result = run("inspect --help");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("--plugin"), std::string::npos);
  EXPECT_NE(run("inspect").status, 0);
}

}  // namespace
