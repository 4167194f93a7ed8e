#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kxwcmn/platform/posix/memorystatus_internal.h"
#include "kxwcmn/platform/system.h"
#include "tests/testfolder.h"

namespace {

class Groups : public testing::Test {
 protected:
  void Set(const std::string& group, const std::string& file, const std::string& text) {
    std::filesystem::create_directories(folder_.Host() / group);
    folder_.WriteFile(group + "/" + file, text);
  }

  kxw::MemoryAmount Apply(const std::string& membership) {
    folder_.WriteFile("membership", membership);
    kxw::MemoryAmount memory{1000, 900};
    const std::string host = folder_.Host().string();
    kxw::ApplyGroupLimits(host + "/membership", host, &memory);
    return memory;
  }

  TestFolder folder_;
};

TEST_F(Groups, TheLowestLimitOnTheWayToTheTopHolds) {
  Set("a/b", "memory.max", "max\n");
  Set("a", "memory.max", "600\n");
  Set("a", "memory.current", "500\n");
  Set("a", "memory.stat", "anon 1\ninactive_file 150\nfile 7\n");
  Set("other", "memory.max", "5\n");
  kxw::MemoryAmount memory = Apply("12:cpu:/other\n0::/a/b\n");
  EXPECT_EQ(memory.total, 600u);
  EXPECT_EQ(memory.available, 250u);

  Set(".", "memory.max", "100\n");  // what a container sees as the top
  Set(".", "memory.current", "170\n");
  memory = Apply("0::/not/visible\n");
  EXPECT_EQ(memory.total, 100u);
  EXPECT_EQ(memory.available, 0u);
}

TEST_F(Groups, TheFirstGenerationIsUnderstood) {
  Set("memory/a", "memory.limit_in_bytes", "700\n");
  Set("memory/a", "memory.usage_in_bytes", "100\n");
  Set("memory/a", "memory.stat", "inactive_file 99\ntotal_inactive_file 20\n");
  Set("memory", "memory.limit_in_bytes", "9223372036854771712\n");
  kxw::MemoryAmount memory = Apply("4:hugetlb,memory:/a\n2:cpuset:/\nnonsense\n");
  EXPECT_EQ(memory.total, 700u);
  EXPECT_EQ(memory.available, 620u);
  memory = Apply("");
  EXPECT_EQ(memory.total, 1000u);
  EXPECT_EQ(memory.available, 900u);
}

TEST_F(Groups, TheMachinesTableIsInKibibytes) {
  folder_.WriteFile("table", "MemTotal:    1000 kB\nMemAvailable:  10 kB\nSwapFree: 3 kB\n");
  const auto memory = kxw::ReadMachineMemory((folder_.Host() / "table").string());
  EXPECT_EQ(memory.physical.total, 1024000u);
  EXPECT_EQ(memory.physical.available, 10240u);
  EXPECT_EQ(memory.swap.total, 0u);
  EXPECT_EQ(memory.swap.available, 3072u);
}

TEST(MemoryStatus, IsConsistent) {
  _MEMORYSTATUSEX status;
  kxwGlobalMemoryStatus(&status);
  EXPECT_EQ(status.dwLength, 64u);
  EXPECT_LE(status.dwMemoryLoad, 100u);
  EXPECT_GT(status.ullTotalPhys, 1u << 20);
  EXPECT_LE(status.ullAvailPhys, status.ullTotalPhys);
  EXPECT_GE(status.ullTotalPageFile, status.ullTotalPhys);
  EXPECT_LT(status.ullAvailVirtual, status.ullTotalVirtual);
}

}  // namespace
