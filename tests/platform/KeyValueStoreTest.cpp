#include <cmath>
#include <random>
#include <vector>

#include "TestSupport.h"
#include "platform/KeyValueStore.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;

class KeyValueStoreTest : public ::testing::Test {
 protected:
  test::TempDir dir_;
  fs::path folder_ = dir_.path;
  test::ConsoleCapture console_;
};

TEST_F(KeyValueStoreTest, DoublesSurviveAFreshStoreBitForBit) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> dist(-1.0, 1.0);
  std::vector<double> values = {0.0, -0.0, 1e-300, -3.0000000000000004, dist(rng), dist(rng) * 1e-7};
  {
    KeyValueStore store(folder_.string());
    for (size_t i = 0; i < values.size(); ++i) ASSERT_TRUE(store.setDouble(values[i], "k" + std::to_string(i)));
  }
  KeyValueStore reread(folder_.string());
  for (size_t i = 0; i < values.size(); ++i) {
    EXPECT_EQ(std::signbit(reread.doubleForKey("k" + std::to_string(i))), std::signbit(values[i]));
    EXPECT_EQ(reread.doubleForKey("k" + std::to_string(i)), values[i]) << "key k" << i;
  }
  EXPECT_EQ(reread.doubleForKey("absent"), 0.0);
  // Nothing but the store's file is left behind by the atomic writes.
  size_t files = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(folder_)) ++files;
  EXPECT_EQ(files, 1u);
}

TEST_F(KeyValueStoreTest, CorruptFileReadsEmptyWithAWarningAndIsKept) {
  dir_.write("defaults.conf", "this is not a store\n\x01\x02");
  KeyValueStore store(folder_.string());
  EXPECT_EQ(store.doubleForKey("gyroZeroDriftX"), 0.0);
  EXPECT_EQ(console_.count("\n"), 1) << console_.text();
  EXPECT_TRUE(console_.saw("defaults.conf")) << console_.text();
  ASSERT_TRUE(fs::exists(folder_ / "defaults.conf.corrupt"));
  std::ifstream kept(folder_ / "defaults.conf.corrupt");
  std::string first;
  std::getline(kept, first);
  EXPECT_EQ(first, "this is not a store");
  // The store works again after the bad file.
  EXPECT_TRUE(store.setDouble(0.5, "gyroZeroDriftX"));
  EXPECT_EQ(KeyValueStore(folder_.string()).doubleForKey("gyroZeroDriftX"), 0.5);
}

TEST_F(KeyValueStoreTest, UnwritableFolderFailsButKeepsTheValueInMemory) {
  // A folder under a plain file can never be made, not even by root.
  dir_.write("plain-file", "x");
  KeyValueStore store((folder_ / "plain-file" / "nudora").string());
  EXPECT_FALSE(store.setDouble(1.25, "x"));
  EXPECT_EQ(store.doubleForKey("x"), 1.25);
  EXPECT_TRUE(console_.saw("could not write")) << console_.text();
}

TEST_F(KeyValueStoreTest, RejectsKeysThatWouldBreakTheFile) {
  KeyValueStore store(folder_.string());
  EXPECT_FALSE(store.setString("v", "a=b"));
  EXPECT_FALSE(store.setString("two\nlines", "k"));
  EXPECT_TRUE(store.setString("a=b is fine in a value", "k"));
  EXPECT_EQ(KeyValueStore(folder_.string()).stringForKey("k"), "a=b is fine in a value");
}

}  // namespace
}  // namespace nudora
