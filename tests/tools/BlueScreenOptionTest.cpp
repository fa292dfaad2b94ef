// The blue-screen options of nudora still and process: parsing and the key
// colour from the border, and bad input turned away with one line and no file.
#include <filesystem>

#include "GpuTestSupport.h"
#include "ToolTestSupport.h"
#include "common/BlueScreenOptions.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;

TEST(BlueScreenOptions, KeyColourParsesBytesAndRefusesTheRest) {
  OrvoColor c;
  ASSERT_TRUE(tool::parseKeyColor("0,51,255", &c));
  EXPECT_FLOAT_EQ(c.red, 0.0f);
  EXPECT_FLOAT_EQ(c.green, 0.2f);
  EXPECT_FLOAT_EQ(c.blue, 1.0f);
  for (const char* bad : {"0,0,256", "-1,0,0", "0,0", "0,0,0,0", "0,0,0,", "a,b,c", "0.5,0,1", "auto", ""}) {
    EXPECT_FALSE(tool::parseKeyColor(bad, &c)) << bad;
  }
  tool::BlueScreenOptions o;
  o.type = 0;
  EXPECT_NE(tool::blueScreenOptionProblem(o).find("needs a background"), std::string::npos);
  o.background = "bg.png";
  EXPECT_EQ(tool::blueScreenOptionProblem(o), "");
  o.threshold = 1.5;
  EXPECT_NE(tool::blueScreenOptionProblem(o).find("threshold"), std::string::npos);
}

TEST(BlueScreenOptions, BorderColourIsTheMedianOfTheBorder) {
  // A green border with a red subject reaching the left edge over a third of
  // its height: the median stays green.
  auto frame = test::filledFrame(40, 30, 0);
  for (int y = 0; y < 30; ++y) {
    for (int x = 0; x < 40; ++x) {
      uint8_t* p = frame->row(y) + x * 4;
      const bool subject = x < 12 && y >= 10 && y < 20;
      p[0] = subject ? 20 : 30, p[1] = subject ? 20 : 200, p[2] = subject ? 220 : 40, p[3] = 255;  // BGRA
    }
  }
  const OrvoColor c = tool::borderKeyColor(*frame);
  EXPECT_FLOAT_EQ(c.red, 40 / 255.0f);
  EXPECT_FLOAT_EQ(c.green, 200 / 255.0f);
  EXPECT_FLOAT_EQ(c.blue, 30 / 255.0f);
}

TEST(BlueScreenCommands, BadInputGivesOneLineAndNoFile) {
  if (!fs::exists(test::nudoraProgram())) GTEST_SKIP() << "the nudora program was not built";
  test::TempDir dir;
  const fs::path in = fs::path(dir.path) / "in.png", out = fs::path(dir.path) / "out.png";
  ASSERT_TRUE(Image::fromPixelBuffer(*test::smoothFrame(32, 24))->write(in.string()));
  std::ofstream(fs::path(dir.path) / "junk.png") << "not a picture";
  const std::string base = "still " + test::shellQuoted(in) + " -o " + test::shellQuoted(out) + " --blue-screen ";
  const struct {
    std::string args, says;
  } cases[] = {
      {"0", "needs a background"},
      {"0 --background " + test::shellQuoted(fs::path(dir.path) / "junk.png"), "neither a PNG or JPEG picture"},
      {"0 --background " + test::shellQuoted(in) + " --key-color 0,0,300", "key colour '0,0,300'"},
      {"5", "out of range"},
  };
  for (const auto& c : cases) {
    const test::ProgramRun run = test::runNudora(base + c.args, dir.path);
    EXPECT_EQ(run.status, 1) << c.args;
    test::expectRefusal(run, c.says, c.args);
    EXPECT_FALSE(fs::exists(out)) << c.args;
  }
}

}  // namespace
}  // namespace nudora
