#include "platform/posix/files.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sorvex/bfile.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/platform.h"
#include "support/child_process.h"
#include "support/failure_assertions.h"
#include "support/process_facts.h"
#include "support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;
using namespace Sorvex;
using Sorvex::testing::contentsOf;

class FilesTest : public ::testing::Test {
protected:
    Sorvex::testing::TemporaryDirectory directory;
};

TEST_F(FilesTest, UnderstandsTheModesOfThePlatform) {
    const std::string name = directory.name("file");
    const struct {
        const char* mode;
        bool opens;
        const char* contents;  // after "ab" has been there and "X" was written, if it could be
    } cases[] = {
        {"r", true, "ab"},   {"rb", true, "ab"},   {"r+", true, "Xb"},
        {"rb+", true, "Xb"}, {"r+b", true, "Xb"},  {"rt", true, "ab"},
        {"w", true, "X"},    {"w+t", true, "X"},   {"wbc", true, "X"},
        {"a", true, "abX"},  {"a+b", true, "abX"}, {"wx", false, "ab"},
        {"", false, "ab"},   {"b", false, "ab"},   {"rw", false, "ab"},
        {"wq", false, "ab"}, {"R", false, "ab"},   {"w,ccs=UTF-8", false, "ab"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mode);
        directory.file("file", "ab");
        platform::FILE* const file = platform::fopen(name.c_str(), c.mode);
        EXPECT_EQ(file != nullptr, c.opens);
        if (file != nullptr) {
            platform::fwrite("X", 1, 1, file);
            platform::fclose(file);
        }
        EXPECT_EQ(contentsOf(name), c.contents);
    }
}

TEST_F(FilesTest, ClosesOnExecAndLeaksNothingWhenItFails) {
    platform::FILE* const file = platform::fopen(directory.name("file").c_str(), "w");
    bool isInherited = true;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        if (fs::read_symlink(entry, ignored) == directory.name("file"))
            isInherited = (fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC) == 0;
    }
    EXPECT_FALSE(isInherited);
    platform::fclose(file);

    const std::size_t before = Sorvex::testing::openDescriptors();
    for (int round = 0; round < 2000; ++round) {
        EXPECT_EQ(platform::fopen(directory.name().c_str(), "r"), nullptr);
        EXPECT_EQ(platform::fopen(directory.name("missing").c_str(), "r"), nullptr);
        EXPECT_EQ(platform::fopen(directory.name("file").c_str(), "?"), nullptr);
        EXPECT_EQ(platform::CopyFileA(directory.name("missing").c_str(), "x", TRUE), FALSE);
        EXPECT_EQ(platform::CopyFileA(directory.name("file").c_str(),
                                      directory.name("file").c_str(), FALSE),
                  FALSE);
    }
    EXPECT_EQ(Sorvex::testing::openDescriptors(), before);
}

TEST_F(FilesTest, KeepsWhatTheDiskRefuses) {
    const std::string name = directory.name("file");
    const std::string block(70000, 'b');
    EXPECT_EQ(Sorvex::testing::runInChild([&] {
                  std::signal(SIGXFSZ, SIG_IGN);
                  const rlimit small{100000, RLIM_INFINITY};
                  const rlimit large{RLIM_INFINITY, RLIM_INFINITY};
                  BFile file(name);
                  file.create("wb") << "start";
                  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
                  file.write(block.data(), 65000);
                  file.write(block.data(), 40000);
                  EXPECT_FAILURE(file.flush(), "BFile::flush(): error on fflush " + name + " " +
                                                   std::strerror(EFBIG));
                  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &large), 0);
                  file.flush();
              }),
              0);
    EXPECT_EQ(contentsOf(name), "start" + std::string(105000, 'b'));
}

TEST_F(FilesTest, FailsAWriteToAFullDisk) {
    if (access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "the host has no full device";
    BFile file("/dev/full");
    file.open("wb");
    const std::string block(200000, 'b');
    EXPECT_FAILURE(file.write(block.data(), 200000), "BFile::write(): error on fwrite /dev/full " +
                                                         std::string(std::strerror(ENOSPC)));
    EXPECT_TRUE(file.isOpen());
}

TEST_F(FilesTest, WritesOutAtExitWhatNobodyClosed) {
    const std::string name = directory.name("file");
    const int status = Sorvex::testing::runInChild([&] {
        static BFile late(directory.name("late"));
        BFile file(name);
        file.open("wb") << "held by a scope that exit() never leaves";
        std::atexit([] { late.open("wb") << "after"; });
        std::exit(0);
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(contentsOf(name), "held by a scope that exit() never leaves");
    EXPECT_EQ(contentsOf(directory.name("late")), "after");
}

TEST_F(FilesTest, GoesOnAfterAnInterruptionAndAfterShortReads) {
    const std::string name = directory.name("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    struct sigaction action {};
    struct sigaction old {};
    static std::atomic<int> interruptions;
    interruptions = 0;
    action.sa_handler = [](int) { ++interruptions; };
    ASSERT_EQ(sigaction(SIGUSR1, &action, &old), 0);

    // The reader is interrupted until it has noticed, then fed in two pieces, the second of which
    // is larger than the pipe holds, while the writer is interrupted.
    const pthread_t reader = pthread_self();
    const std::string large(300000, 'p');
    std::thread feeder([&] {
        BFile file(name);
        file.open("wb");
        while (interruptions < 10) {
            pthread_kill(reader, SIGUSR1);
            std::this_thread::yield();
        }
        file << "ab";
        file.flush();
        file << large.c_str();
        file.close();
    });
    BFile file(name);
    file.open("rb");
    std::string text(2 + large.size(), ' ');
    EXPECT_EQ(file.read(text.data(), static_cast<unsigned long>(text.size())), text.size());
    EXPECT_TRUE(text == "ab" + large);
    char byte = 0;
    EXPECT_EQ(file.read(&byte, 1), 0UL);
    EXPECT_TRUE(file.isEof());
    // A pipe has no positions.
    EXPECT_EQ(file.getPosition(), 0xFFFFFFFFUL);
    feeder.join();
    sigaction(SIGUSR1, &old, nullptr);
}

TEST_F(FilesTest, TellsNoPositionBeyond2GiB) {
    const std::string name = directory.file("file");
    ASSERT_EQ(truncate(name.c_str(), 0x7FFFFFFF), 0);
    BFile file(name);
    file.open("ab") << "x";
    EXPECT_EQ(file.getPosition(), 0xFFFFFFFFUL);
    file.close();
    EXPECT_EQ(file.size(), 0x80000000UL);
    ASSERT_EQ(truncate(name.c_str(), 0x100000005), 0);
    file.getInformation();
    EXPECT_EQ(file.size(), 5UL);
}

TEST_F(FilesTest, SeesAFileGrowBetweenReads) {
    const std::string name = directory.file("file", "1234");
    BFile file(name);
    file.open("rb");
    char bytes[3] = {};
    file.read(bytes, 2);
    file.read(bytes, 2);
    EXPECT_FALSE(file.isEof());
    std::ofstream(name, std::ios::app) << "56";
    EXPECT_EQ(file.read(bytes, 2), 2UL);
    EXPECT_STREQ(bytes, "56");
    EXPECT_EQ(file.read(bytes, 2), 0UL);
    EXPECT_TRUE(file.isEof());
    // The host makes this one up, of size 0 and in pieces.
    file.open("/proc/self/smaps", "rb");
    std::string text(1 << 20, ' ');
    const unsigned long size = file.read(text.data(), 1 << 20);
    text.resize(size);
    EXPECT_NE(text.find("[stack]"), std::string::npos);
    EXPECT_TRUE(file.isEof());
}

TEST_F(FilesTest, HoldsAPositionInTheMiddleOfWhatWasReadAhead) {
    const std::string name = directory.file("file", "0123456789");
    BFile file(name);
    file.open("r+b");
    char bytes[4] = {};
    file.setPosition(2).read(bytes, 3);
    EXPECT_EQ(std::string(bytes), "234");
    EXPECT_EQ(file.getPosition(), 5UL);
    file.setPosition(1).read(bytes, 3);
    EXPECT_EQ(std::string(bytes), "123");
    // A write goes where the reads stand, not where the read-ahead stands.
    file.write("XY", 2);
    file.setPosition(0).read(bytes, 3);
    EXPECT_EQ(std::string(bytes), "012");
    file.close();
    EXPECT_EQ(contentsOf(name), "0123XY6789");

    file.open("a+b");
    file.read(bytes, 3);
    EXPECT_EQ(std::string(bytes), "012");
    file.write("+", 1);
    EXPECT_EQ(file.getPosition(), 11UL);
    file.close();
    EXPECT_EQ(contentsOf(name), "0123XY6789+");
}

}  // namespace
