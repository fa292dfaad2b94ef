// `nudora still` run as a program: a generated picture through the standard
// style on ES 3 and ES 2, and bad input turned away with one error line, a
// failing exit and no file left behind.
#include <sys/wait.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <sstream>

#include "GpuTestSupport.h"
#include "platform/EglContext.h"
#include "platform/Image.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;

std::string q(const fs::path& p) { return "'" + p.string() + "'"; }

class StillCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // Built beside the tests: <build>/tools/nudora next to <build>/tests/.
    program_ = fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "tools" / "nudora";
    if (!fs::exists(program_)) GTEST_SKIP() << "the nudora program was not built: " << program_;
    std::mt19937 rng(11);
    for (int i = 0; i < 37 * 23 * 4; ++i) picture_.data()[i] = i % 4 == 3 ? 255 : static_cast<uint8_t>(rng());
    ASSERT_TRUE(picture_.write((dir_ / "in.png").string()));
  }
  // Runs `nudora still args`; the exit status, with stderr in err_.
  int still(const std::string& args, const std::string& env = "") {
    const fs::path log = fs::path(logDir_.path) / "err";
    const int raw = std::system((env + " " + q(program_) + " still " + args + " >/dev/null 2>" + q(log)).c_str());
    std::stringstream text;
    text << std::ifstream(log).rdbuf();
    err_ = text.str();
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }
  long errLines() const { return std::count(err_.begin(), err_.end(), '\n'); }
  size_t files() const { return std::distance(fs::directory_iterator(dir_), fs::directory_iterator()); }

  test::TempDir pictures_, logDir_;
  fs::path program_, dir_ = pictures_.path;
  Image picture_{37, 23};
  std::string err_;
};

TEST_F(StillCommandTest, StandardStyleGivesWhatItsTableSaysOnBothApis) {
  auto table = Image::imageNamed("3DLUT_standard.png");
  ASSERT_TRUE(table);
  const test::Picture reference = test::pictureOf(*table), in = test::pictureOf(picture_);
  for (int api : {3, 2}) {
    if (!EglContext::create(api)) continue;  // the machine lacks this level
    const fs::path out = dir_ / ("out" + std::to_string(api) + ".png");
    ASSERT_EQ(still(q(dir_ / "in.png") + " -o " + q(out) + " --style 18", "NUDORA_GLES_MAX_API=" + std::to_string(api)), 0)
        << err_;
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
  const std::string good = q(dir_ / "in.png") + " -o " + q(dir_ / "out.png");
  const std::pair<std::string, const char*> cases[] = {
      {good + " --style 63", "style 63"},        {good + " --lens 31", "lens 31"},
      {good + " --beauty 5", "beauty"},          {good + " --zoom 0", "zoom"},
      {good + " --orientation 5", "orientation"},
      {good + " --tone-mapping 4", "tone mapping"}, {good + " --lens 11 --lens-center nan,0.5", "lens centre"}, {good + " --watermark " + q(dir_ / "notes.txt"), "notes.txt"},
      {q(dir_ / "absent.png") + " -o " + q(dir_ / "out.png"), "absent.png"},
      {q(dir_ / "notes.txt") + " -o " + q(dir_ / "out.png"), "notes.txt"},
      {q(dir_ / "empty.png") + " -o " + q(dir_ / "out.png"), "empty"},
      {q(dir_ / "wide.png") + " -o " + q(dir_ / "out.png"), "too large"},
      {q(dir_ / "in.png") + " -o " + q(dir_ / "nowhere" / "out.png"), "nowhere"},
  };
  const size_t before = files();
  for (const auto& [args, mentions] : cases) {
    EXPECT_NE(still(args), 0) << args;
    EXPECT_EQ(errLines(), 1) << args << ": " << err_;
    EXPECT_NE(err_.find(mentions), std::string::npos) << args << ": " << err_;
    EXPECT_EQ(files(), before) << args << " left a file behind";
  }
}

}  // namespace
}  // namespace nudora
