#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <random>

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "core/base/FileIO.h"
#include "tests/core/media/FileSizeLimit.h"
#include "tests/support/Files.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using test::contentOf;

constexpr std::size_t kNoLimit = 1U << 30;

std::ptrdiff_t entriesIn(const fs::path& folder) {
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

mode_t permissionsOf(const fs::path& file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

TEST(WriteFileAtomically, CreatesAndReplaces) {
    const TemporaryFolder folder;
    const auto file = folder / "project.json";
    EXPECT_TRUE(writeFileAtomically(file, "first"));
    EXPECT_EQ(contentOf(file), "first");
    ::chmod(file.c_str(), 0640);
    EXPECT_TRUE(writeFileAtomically(file, ""));
    EXPECT_EQ(contentOf(file), "");
    EXPECT_EQ(permissionsOf(file), 0640U);
    EXPECT_EQ(entriesIn(folder.path()), 1);
}

TEST(WriteFileAtomically, KeepsALinkAndReplacesWhatItPointsTo) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "elsewhere");
    fs::create_symlink("elsewhere/target.json", folder / "link");
    fs::create_symlink("link", folder / "project.json");
    for (const std::string bytes : {"created through the links", "replaced through the links"}) {
        EXPECT_TRUE(writeFileAtomically(folder / "project.json", bytes));
        EXPECT_EQ(contentOf(folder / "elsewhere/target.json"), bytes);
    }
    EXPECT_TRUE(fs::is_symlink(folder / "project.json"));
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    fs::create_symlink("loop", folder / "loop");
    EXPECT_FALSE(writeFileAtomically(folder / "loop", "never"));
}

TEST(WriteFileAtomically, AFailureLeavesEverythingAsItWas) {
    const TemporaryFolder folder;
    const auto file = folder / "project.json";
    ASSERT_TRUE(writeFileAtomically(file, "the old bytes"));
    const std::string tooLong(100'000, 'x');
    {
        const test::FileSizeLimit limit(4096);
        EXPECT_FALSE(writeFileAtomically(file, tooLong));
        EXPECT_TRUE(writeFileAtomically(file, "short"));
    }
    {
        const test::FileSizeLimit limit(0);
        EXPECT_FALSE(writeFileAtomically(file, tooLong));
    }
    EXPECT_EQ(contentOf(file), "short");

    fs::create_directory(folder / "folder");
    const auto intoFolder = writeFileAtomically(folder / "folder", "bytes");
    ASSERT_FALSE(intoFolder);
    EXPECT_EQ(intoFolder.error().message, "Couldn’t write “folder”.");
    EXPECT_FALSE(writeFileAtomically(folder / "missing" / "project.json", "bytes"));
    EXPECT_EQ(entriesIn(folder.path()), 2) << "no temporary file is left";
}

// Lets fchmod fail in this process from now on.
bool refuseFchmod(int error) {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_fchmod, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{4, program};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0
           && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

// Cameras, phones and network shares have no permissions to keep.
TEST(WriteFileAtomically, SucceedsWhereAFileSystemHasNoPermissions) {
    const TemporaryFolder folder;
    const fs::path file = folder / "project.json";
    const struct {
        mode_t mode; // a new file has 0644
        int error;
        bool succeeds;
    } rows[] = {{0640, EPERM, true},
                {0640, ENOSYS, true},
                {0640, ENOTSUP, true},
                {0644, EIO, true},
                {0640, EIO, false}};
    for (const auto& row : rows) {
        ASSERT_TRUE(writeFile(file, "the old bytes"));
        ASSERT_EQ(::chmod(file.c_str(), row.mode), 0);
        test::ForkedProcess process([&] {
            ::umask(022);
            return refuseFchmod(row.error) && writeFileAtomically(file, "the new bytes").has_value();
        });
        EXPECT_EQ(process.succeeds(), row.succeeds) << row.error;
        EXPECT_EQ(contentOf(file), row.succeeds ? "the new bytes" : "the old bytes") << row.error;
    }
}

// Each process writes whole files of one letter until it is killed; whatever the moment, the file left behind
// must be one of them.
TEST(WriteFileAtomically, AKillLeavesTheOldFileOrTheNew) {
    const TemporaryFolder folder;
    const auto file = folder / "project.json";
    const auto letters = [](char letter) { return std::string(50'000, letter); };
    ASSERT_TRUE(writeFileAtomically(file, letters('a')));
    const char* soak = std::getenv("GLINTRO_SOAK");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(soak ? std::atoi(soak) : 1);
    std::minstd_rand random(7);
    int kills = 0;
    do {
        test::ForkedProcess process([&] {
            char letter = 'a';
            while (writeFileAtomically(file, letters(letter)))
                letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1);
            return false;
        });
        ::usleep(static_cast<useconds_t>(random() % 5000));
        ASSERT_TRUE(process.kill());
        const std::string left = contentOf(file);
        ASSERT_FALSE(left.empty());
        ASSERT_EQ(left, letters(left.front())) << "after " << kills << " kills";
        ++kills;
    } while (std::chrono::steady_clock::now() < end);
    RecordProperty("kills", kills);
}

TEST(ReadFile, RefusesWhatIsTooLongOrNoFile) {
    const TemporaryFolder folder;
    const auto file = folder / "file";
    ASSERT_TRUE(writeFile(file, "12345678"));
    EXPECT_EQ(readFile(file, 8).value_or(""), "12345678");
    EXPECT_FALSE(readFile(file, 7));
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const char* name : {"missing", "", "pipe"}) EXPECT_FALSE(readFile(folder / name, 8)) << name;
}

} // namespace
} // namespace glintro
