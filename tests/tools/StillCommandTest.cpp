// `nudora still`: the standard style on ES 3 and ES 2, and bad input refused with
// one error line and no file (the shared filter checks are covered by process).
#include <iterator>
#include <random>

#include "GpuTestSupport.h"
#include "ToolTestSupport.h"
#include "platform/EglContext.h"
#include "platform/Image.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;
using test::shellQuoted;

class StillCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(test::nudoraProgram())) GTEST_SKIP() << "the nudora program was not built";
    std::mt19937 rng(11);
    for (int i = 0; i < 37 * 23 * 4; ++i) picture_.data()[i] = i % 4 == 3 ? 255 : static_cast<uint8_t>(rng());
    ASSERT_TRUE(picture_.write((dir_ / "in.png").string()));
  }
  test::ProgramRun still(const std::string& args, const std::string& env = "") {
    return test::runNudora("still " + args, logs_.path, env);
  }
  size_t files() const { return std::distance(fs::directory_iterator(dir_), fs::directory_iterator()); }

  test::TempDir pictures_, logs_;
  fs::path dir_ = pictures_.path;
  Image picture_{37, 23};
};

TEST_F(StillCommandTest, StandardStyleGivesWhatItsTableSaysOnBothApis) {
  auto table = Image::imageNamed("3DLUT_standard.png");
  ASSERT_TRUE(table);
  const test::Picture reference = test::pictureOf(*table), in = test::pictureOf(picture_);
  for (int api : {3, 2}) {
    if (!EglContext::create(api)) continue;  // the machine lacks this level
    const fs::path out = dir_ / ("out" + std::to_string(api) + ".png");
    const auto run = still(shellQuoted(dir_ / "in.png") + " -o " + shellQuoted(out) + " --style 18",
                           "NUDORA_GLES_MAX_API=" + std::to_string(api));
    ASSERT_EQ(run.status, 0) << run.err;
    auto back = Image::load(out.string());
    ASSERT_TRUE(back && back->width() == 37 && back->height() == 23);
    test::comparePicture(test::pictureOf(*back), [&](int x, int y, int c) {
      if (c == 3) return static_cast<double>(NAN);
      return test::lookupTableReference(reference, in.at(x, y, 0) / 255.0, in.at(x, y, 1) / 255.0,
                                        in.at(x, y, 2) / 255.0, c);
    }, 1.5, "API " + std::to_string(api));
  }
}

TEST_F(StillCommandTest, BadInputGetsOneLineAFailingExitAndNoFile) {
  std::ofstream(dir_ / "notes.txt") << "not a picture\n";
  std::ofstream(dir_ / "empty.png").flush();
  ASSERT_TRUE(Image(16385, 1).write((dir_ / "wide.png").string()));
  auto q = [&](const char* name) { return shellQuoted(dir_ / name); };
  const std::string out = " -o " + q("out.png"), good = q("in.png") + out;
  const std::pair<std::string, const char*> cases[] = {
      {good + " --style 63", "style 63"},
      {good + " --orientation 5", "orientation"},
      {good + " --tone-mapping 4", "tone mapping"},
      {good + " --lens 11 --lens-center nan,0.5", "lens centre"},
      {good + " --watermark " + q("notes.txt"), "notes.txt"},
      {q("absent.png") + out, "absent.png"},
      {q("notes.txt") + out, "notes.txt"},
      {q("empty.png") + out, "empty"},
      {q("wide.png") + out, "too large"},
      {q("in.png") + " -o " + shellQuoted(dir_ / "nowhere" / "out.png"), "nowhere"},
  };
  const size_t before = files();
  for (const auto& [args, mentions] : cases) {
    test::expectRefusal(still(args), mentions, args);
    EXPECT_EQ(files(), before) << args << " left a file behind";
  }
}

}  // namespace
}  // namespace nudora
