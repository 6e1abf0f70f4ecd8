#include <sorvex/bfile.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/directory_test.h"
#include "support/failure_assertions.h"

namespace {

using Sorvex::BFile;
using Sorvex::testing::contentsOf;
using BFileTest = Sorvex::testing::DirectoryTest;

// Reads through its own read, which sees every call.
class RecordingFile : public BFile {
public:
    using BFile::BFile;

    unsigned long read(void* buffer, unsigned long size) override {
        sizes.push_back(size);
        return BFile::read(buffer, size);
    }

    std::vector<unsigned long> sizes;
};

TEST_F(BFileTest, KeepsReadsAndWritesOfAnySizeInOrder) {
    BFile file(directory.name("file"));
    std::string expected;
    file.create("w+b");
    for (const unsigned long size : {1UL, 65535UL, 1UL, 65536UL, 3UL, 200001UL, 0UL, 70000UL}) {
        const std::string block(size, static_cast<char>('a' + expected.size() % 26));
        EXPECT_EQ(file.write(block.data(), size), size);
        expected += block;
        EXPECT_EQ(file.getPosition(), expected.size());
    }
    std::string back(expected.size(), ' ');
    EXPECT_EQ(file.setPosition(0).read(back.data(), 500000), expected.size());
    EXPECT_EQ(back, expected);
    EXPECT_TRUE(file.isEof());
    EXPECT_FALSE(file.setPosition(0x7FFFFFFF).isEof());
    EXPECT_EQ(file.getPosition(), 0x7FFFFFFFUL);
    EXPECT_FAILURE(file.setPosition(0x80000000UL),
                   "BFile::setPosition(): error on fseek() " + file.name() + " Invalid argument");
    EXPECT_EQ(contentsOf(file.close().close().name()), expected);
    EXPECT_EQ(file.size(), expected.size());
}

TEST_F(BFileTest, ReadsLinesThroughItsOwnReadOrThatOfADerivedClass) {
    const std::string longLine(200000, 'l');
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"ab\r\ncd", {"ab", "cd"}},
        {"a\rb\n\n", {"ab", "", ""}},
        {{"a\0\xFF\n\r\f", 6}, {{"a\0\xFF", 3}, ""}},
        {longLine + "\n" + longLine, {longLine, longLine}}};
    for (const auto& [contents, lines] : cases) {
        SCOPED_TRACE(contents.substr(0, 10));
        BFile file(directory.file("lines", contents));
        RecordingFile derived(file.name());
        file.open("rb");
        derived.open("rb");
        for (const std::string& line : lines) {
            EXPECT_FALSE(file.isEof());
            EXPECT_EQ(file.getLine(), line);
            EXPECT_EQ(derived.getLine(), line);
        }
        EXPECT_TRUE(file.isEof());
        EXPECT_EQ(derived.getLine(), "");
        // One call a byte, and one that hit the end.
        EXPECT_EQ(derived.sizes, std::vector<unsigned long>(contents.size() + 1, 1));
    }
}

TEST_F(BFileTest, FailsOnAClosedFileAsOnABadDescriptor) {
    BFile file("name");
    const std::string end = " name Bad file descriptor";
    char byte = 0;
    EXPECT_FAILURE(file.read(&byte, 1), "BFile::read(): error on fread" + end);
    EXPECT_FAILURE(file.write(&byte, 1), "BFile::write(): error on fwrite" + end);
    EXPECT_FAILURE(file.flush(), "BFile::flush(): error on fflush" + end);
    EXPECT_FAILURE(file.setPosition(0), "BFile::setPosition(): error on fseek()" + end);
    EXPECT_FAILURE(file.getPosition(), "BFile::getPosition(): error on ftell()" + end);
    EXPECT_EQ(file.getLine(), "");
}

TEST_F(BFileTest, FailsInTheDirectionThatIsNotOpen) {
    BFile file(directory.file("file", "contents"));
    const std::string openEnd = " " + file.name() + " Bad file descriptor";
    char byte = 0;
    file.open("rb");
    EXPECT_FAILURE(file.write(&byte, 1), "BFile::write(): error on fwrite" + openEnd);
    file.open("ab");
    EXPECT_FAILURE(file.read(&byte, 1), "BFile::read(): error on fread" + openEnd);
    EXPECT_FAILURE(file.getLine(), "BFile::read(): error on fread" + openEnd);
}

TEST_F(BFileTest, KeepsTheNameOfAFailedOpenAndTheContentsOfTheFileBefore) {
    BFile file(directory.name("first"));
    const std::string missing = directory.name("missing");
    file.create("wb") << "kept";
    EXPECT_FAILURE(file.open(missing.c_str(), "rb"),
                   "BFile::create(): can not fopen " + missing + " mode:rb.");
    EXPECT_EQ(contentsOf(host("first")), "kept");
    EXPECT_EQ(file.name(), missing);
    EXPECT_FALSE(file.isOpen());
}

TEST_F(BFileTest, AsksForAccessInFourModesOnly) {
    const BFile file(directory.file("file"));
    for (const int mode : {0, 1, 2, 3}) {
        EXPECT_TRUE(file.canAccess(static_cast<BFile::AccessMode>(mode)));
        EXPECT_FALSE(BFile::canAccess(in("missing").c_str(), static_cast<BFile::AccessMode>(mode)));
    }
    EXPECT_LOGIC_FAILURE(
        file.canAccess(static_cast<BFile::AccessMode>(4)),
        "BFile::canAccess(): Invalid access mode specified for file " + file.name());
}

TEST_F(BFileTest, CopiesAndRemovesFilesAndReplacesThemOnlyWhenTold) {
    BFile source(directory.file("source", "new"));
    const std::string target = directory.file("target", "old");
    errno = EEXIST;  // a system whose copying leaves errno alone fails with what it holds
    EXPECT_FAILURE(source.copy(target.c_str(), false),
                   "BFile::copy(): failed " + source.name() + " to " + target + " File exists");
    EXPECT_EQ(contentsOf(target), "old");
    EXPECT_THROW(source.copy(source.name().c_str(), true), std::runtime_error);
    source.copy(target.c_str(), true).remove();
    EXPECT_EQ(contentsOf(target), "new");
    EXPECT_FAILURE(source.remove(), "BFile::remove(): error removing file " + source.name() +
                                        " No such file or directory");
    EXPECT_THROW(BFile::remove(directory.name().c_str()), std::runtime_error);
}

TEST_F(BFileTest, FindsTheFirstFreeNumber) {
    build({"report.txt", "report.001.txt", "report.003.txt", "a.d/report"});
    EXPECT_EQ(BFile::safeFileName(directory.name("free.txt")), directory.name("free.txt"));
    EXPECT_EQ(BFile::safeFileName(directory.name("report.txt")), directory.name("report.002.txt"));
    // The last dot of the whole text, wherever it stands, or its end.
    EXPECT_EQ(BFile::safeFileName(directory.name("a.d/report")), directory.name("a.001.d/report"));
    EXPECT_EQ(BFile::safeFileName("\\"), "\\.001");
}

}  // namespace
