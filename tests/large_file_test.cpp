// Files whose size or time does not fit into 32 bits.
#include "tests/root.h"

#include <chrono>

namespace fs = std::filesystem;

TEST(LargeFile, IsServedAndListedLikeAnyOther) {
    const std::chrono::sys_seconds in_2040 = std::chrono::sys_days(std::chrono::year(2040) / 1 / 1);
    const auto late = std::chrono::file_clock::from_sys(in_2040);
    Root root;
    root.run("-c iscsi");
    const std::string targets = root.read("/etc/ietd.conf");
    for (const char* path : {"Path=/dev/md1,", "Path=/dev/md2,"})
        ASSERT_NE(targets.find(path), std::string::npos) << targets;

    fs::resize_file(root.at("/dev/md1"), 5LL << 30);
    fs::last_write_time(root.at("/dev/md2"), late);
    root.write("/mnt/image", "");
    fs::resize_file(root.at("/mnt/image"), 5LL << 30);
    fs::create_directory(root.at("/mnt/late"));
    fs::last_write_time(root.at("/mnt/late"), late);
    ASSERT_EQ(fs::last_write_time(root.at("/mnt/late")), late) << "no place for the test";

    const Outcome run = root.run("-b /mnt -c iscsi");
    EXPECT_TRUE(run.out.starts_with("\t/mnt/late\n\t/mnt\n")) << run.out;
    EXPECT_EQ(run.err.find("cannot open"), std::string::npos) << run.err;
    EXPECT_EQ(root.read("/etc/ietd.conf"), targets);
}
