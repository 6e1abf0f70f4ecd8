#include "platform/posix/files/files.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sorvex/bfile.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/descriptor.h"
#include "support/child_process.h"
#include "support/directory_test.h"
#include "support/failure_assertions.h"
#include "support/process_facts.h"

namespace {

using namespace Sorvex;
using Sorvex::testing::contentsOf;

class FilesTest : public Sorvex::testing::DirectoryTest {
protected:
    const std::string name = directory.file("file", "0123456789");
};

TEST_F(FilesTest, UnderstandsTheModesOfThePlatformAndLeaksNothing) {
    // What "ab" is after "X" was written, if it could be; nothing where a file isn't opened.
    const std::pair<std::string, std::vector<const char*>> cases[] = {
        {"ab", {"r", "rb", "rt"}},
        {"Xb", {"r+", "rb+", "r+b"}},
        {"X", {"w", "w+t", "wbc"}},
        {"abX", {"a", "a+b"}},
        {"", {"wx", "", "b", "rw", "wq", "R", "w,ccs=UTF-8"}},
    };
    const std::size_t before = Sorvex::testing::openDescriptors();
    const int next = open("/", O_PATH);
    close(next);
    for (const auto& [contents, modes] : cases)
        for (const char* mode : modes) {
            SCOPED_TRACE(mode);
            directory.file("file", "ab");
            platform::FILE* const file = platform::fopen(name.c_str(), mode);
            ASSERT_EQ(file == nullptr, contents.empty());
            EXPECT_EQ(fcntl(next, F_GETFD), file == nullptr ? -1 : FD_CLOEXEC);
            if (file != nullptr) {
                platform::fwrite("X", 1, 1, file);
                platform::fclose(file);
                EXPECT_EQ(contentsOf(name), contents);
            }
        }
    EXPECT_EQ(contentsOf(name), "ab");
    EXPECT_EQ(platform::fopen(directory.name().c_str(), "r"), nullptr);
    platform::Descriptor held;
    for (int round = 0; round < 2; ++round)
        held = platform::openAt(AT_FDCWD, "/", O_PATH);
    EXPECT_TRUE(held.close());
    EXPECT_EQ(Sorvex::testing::openDescriptors(), before);
}

TEST_F(FilesTest, KeepsWhatTheDiskRefuses) {
    const std::string block(70000, 'b');
    const int status = Sorvex::testing::runInChild([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit small{100000, RLIM_INFINITY};
        const rlimit large{RLIM_INFINITY, RLIM_INFINITY};
        BFile file(name);
        file.create("wb") << "start";
        setrlimit(RLIMIT_FSIZE, &small);
        file.write(block.data(), 65000);
        file.write(block.data(), 40000);
        EXPECT_FAILURE(file.flush(), "BFile::flush(): error on fflush " + name + " File too large");
        setrlimit(RLIMIT_FSIZE, &large);
        file.flush();
        EXPECT_FAILURE(file.open("/dev/full", "wb").write(block.data(), 70000),
                       "BFile::write(): error on fwrite /dev/full No space left on device");
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(contentsOf(name), "start" + std::string(105000, 'b'));
}

TEST_F(FilesTest, WritesOutAtExitWhatNobodyClosed) {
    ASSERT_EQ(mkfifo(host("pipe").c_str(), 0600), 0);
    const int status = Sorvex::testing::runInChild([&] {
        static auto& late = *new BFile(directory.name("late"));
        // A full pipe, which nobody reads while the process forks.
        const platform::Descriptor reader =
            platform::openAt(AT_FDCWD, host("pipe").c_str(), O_RDONLY | O_NONBLOCK);
        alarm(30);
        BFile pipe(directory.name("pipe"));
        std::string half(50000, 'p');
        pipe.open("wb").write(half.data(), 50000);
        pipe.flush().write(half.data(), 50000);
        BFile file(name);
        file.open("wb") << "held by a scope that exit() never leaves";
        late.open("wb") << "early, ";
        // A child ends with copies of the buffers.
        EXPECT_EQ(Sorvex::testing::runInChild([] {
                      late << "a child's, ";
                      std::exit(0);
                  }),
                  0);
        for (int round = 0; round < 2; ++round, pipe.flush())
            EXPECT_EQ(read(reader.get(), half.data(), 50000), 50000);
        std::atexit([] { late << "at last"; });
        std::atexit([] { late.flush() << "later, "; });
        std::exit(0);
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(contentsOf(name), "held by a scope that exit() never leaves");
    EXPECT_EQ(contentsOf(directory.name("late")), "early, a child's, later, at last");
}

TEST_F(FilesTest, EndTheProcessWhileAThreadIsWriting) {
    for (int round = 0; round < 50; ++round) {
        const int status = Sorvex::testing::runInChild([&] {
            std::atomic<int> written = 0;
            std::thread([&] {
                BFile file(name);
                for (file.open("wb");; ++written)
                    file << written.load();
            }).detach();
            while (written < 20000 + 1000 * round)
                std::this_thread::yield();
            std::exit(0);
        });
        ASSERT_EQ(status, 0);
        // Every number once and in its place, but for the last, which may be cut off.
        BFile file(name);
        file.open("rb");
        int value = -1;
        for (int expected = 0; file.read(&value, 4) == 4; ++expected)
            ASSERT_EQ(value, expected);
        ASSERT_GE(file.size(), 80000U);
    }
}

TEST_F(FilesTest, RefusesWhat32BitsCanNotCount) {
    if constexpr (sizeof(long) > 4) {
        constexpr auto beyond = static_cast<unsigned long>(1ULL << 32);
        BFile file(name);
        std::string bytes(20, ' ');
        file.open("r+b");
        EXPECT_EQ(file.read(bytes.data(), beyond), 10U);
        EXPECT_FAILURE(file.write(bytes.data(), beyond),
                       "BFile::write(): error on fwrite " + name + " File too large");
        EXPECT_FAILURE(file.setPosition(beyond),
                       "BFile::setPosition(): error on fseek() " + name + " Invalid argument");
        EXPECT_EQ(file.getPosition(), 10U);
        BStreamBuffer buffer;
        EXPECT_THROW(buffer.write(bytes.data(), beyond + 1), std::bad_alloc);
        EXPECT_THROW(BStreamBuffer(bytes.data(), beyond + 1), std::bad_alloc);
        buffer.write(bytes.data(), 5);
        EXPECT_EQ(buffer.read(bytes.data(), beyond + 4), 5U);
    }
    std::filesystem::resize_file(name, 0x7FFFFFFF);
    BFile large(name);
    large.open("ab") << "x";
    EXPECT_EQ(large.getPosition(), 0xFFFFFFFFUL);
    EXPECT_EQ(large.size(), 0x80000000UL);
}

TEST_F(FilesTest, GoesOnAfterAnInterruptionAndAfterShortReads) {
    const std::string pipe = directory.name("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    static std::atomic<int> interruptions = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { ++interruptions; };
    sigaction(SIGUSR1, &action, nullptr);
    // The reader is interrupted until it has noticed, then fed in two pieces, the second of which
    // is larger than the pipe holds.
    std::thread feeder([&, reader = pthread_self()] {
        BFile file(pipe);
        for (file.open("wb"); interruptions < 10; std::this_thread::yield())
            pthread_kill(reader, SIGUSR1);
        file << "ab";
        file.flush();
        file << std::string(300000, 'p').c_str();
    });
    BFile file(pipe);
    file.open("rb");
    std::string text(300002, ' ');
    EXPECT_EQ(file.read(text.data(), 300002), 300002UL);
    EXPECT_TRUE(text == "ab" + std::string(300000, 'p'));
    EXPECT_EQ(file.read(text.data(), 1), 0UL);
    EXPECT_TRUE(file.isEof());
    // A pipe has no positions.
    EXPECT_EQ(file.getPosition(), 0xFFFFFFFFUL);
    feeder.join();
    std::signal(SIGUSR1, SIG_DFL);
}

TEST_F(FilesTest, WritesWhereTheReadsStandAndSeesAFileChangeBetweenThem) {
    BFile file(name);
    char bytes[10] = {};
    file.open("r+b").read(bytes, 3);
    file.write("XY", 2);
    file.open("rb").read(bytes, 8);
    directory.file("file", "012XY56Z89");
    file.setPosition(7).read(bytes, 3);
    EXPECT_EQ(bytes[0], 'Z');
    EXPECT_FALSE(file.isEof());
    std::ofstream(name, std::ios::app) << "+";
    EXPECT_EQ(file.read(bytes, 2), 1UL);
    EXPECT_TRUE(file.isEof());
    file.open("a+b").read(bytes, 3);
    file.write("!", 1);
    EXPECT_EQ(file.getPosition(), 12UL);
    file.close();
    EXPECT_EQ(contentsOf(name), "012XY56Z89+!");
}

}  // namespace
