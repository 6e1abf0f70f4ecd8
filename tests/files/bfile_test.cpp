#include <sorvex/bfile.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/failure_assertions.h"
#include "support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;
using Sorvex::BFile;
using Sorvex::testing::contentsOf;

class BFileTest : public ::testing::Test {
protected:
    Sorvex::testing::TemporaryDirectory directory;
};

std::string errorText(int number) {
    return std::strerror(number);
}

// Reads through its own read, which sees every call.
class CountingFile : public BFile {
public:
    using BFile::BFile;

    unsigned long read(void* buffer, unsigned long size) override {
        sizes.push_back(size);
        const unsigned long count = BFile::read(buffer, size);
        if (count == 1 && *static_cast<char*>(buffer) == 'x')
            *static_cast<char*>(buffer) = 'y';
        return count;
    }

    std::vector<unsigned long> sizes;
};

TEST_F(BFileTest, CarriesTheBinaryFormOfValues) {
    const std::string name = directory.name("values");
    BFile file(name);
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(fs::exists(name));
    file.create("wb") << 1 << std::string("ab") << 1.5F << "xyz";
    EXPECT_EQ(file.getPosition(), 17UL);
    file.close().close();
    EXPECT_EQ(contentsOf(name), std::string("\x01\0\0\0\x02\0\0\0"
                                            "ab\0\0\xC0\x3Fxyz",
                                            17));
    int number = 0;
    std::string text;
    float fraction = 0;
    file.open("rb") >> number >> text >> fraction;
    EXPECT_EQ(number, 1);
    EXPECT_EQ(text, "ab");
    EXPECT_EQ(fraction, 1.5F);
    file.setPosition(17);
    number = 7;
    file >> number;
    EXPECT_EQ(number, 7);
    EXPECT_TRUE(file.isEof());
    EXPECT_EQ(file.setPosition(1).getPosition(), 1UL);
    EXPECT_FALSE(file.isEof());
}

TEST_F(BFileTest, KeepsReadsAndWritesOfAnySizeInOrder) {
    // Around the size of the buffer and through it, mixed with changes of direction.
    const std::string name = directory.name("mixed");
    std::string expected;
    BFile file(name);
    file.create("w+b");
    for (const std::size_t size : {1U, 65535U, 1U, 65536U, 3U, 200001U, 0U, 70000U}) {
        const std::string block(size, static_cast<char>('a' + expected.size() % 26));
        EXPECT_EQ(file.write(block.data(), static_cast<unsigned long>(size)), size);
        expected += block;
        EXPECT_EQ(file.getPosition(), expected.size());
    }
    file.setPosition(10);
    std::string back(100, ' ');
    EXPECT_EQ(file.read(back.data(), 100), 100UL);
    EXPECT_EQ(back, expected.substr(10, 100));
    file.setPosition(file.getPosition());
    file.write("HERE", 4);
    expected.replace(110, 4, "HERE");
    file.setPosition(0);
    back.resize(expected.size() + 10);
    EXPECT_EQ(file.read(back.data(), static_cast<unsigned long>(back.size())), expected.size());
    back.resize(expected.size());
    EXPECT_EQ(back, expected);
    EXPECT_EQ(file.read(back.data(), 1), 0UL);
    EXPECT_TRUE(file.isEof());
    file.close();
    EXPECT_EQ(contentsOf(name), expected);
}

TEST_F(BFileTest, ReadsLines) {
    const struct {
        std::string contents;
        std::vector<std::string> lines;
    } cases[] = {
        {"ab\r\ncd", {"ab", "cd"}},
        {"a\fb\n", {"ab", ""}},
        {"a\rb\n\n", {"ab", "", ""}},
        {"", {""}},
        {std::string("a\0\xFF\n\r\f", 6), {std::string("a\0\xFF", 3), ""}},
        {std::string(200000, 'l') + "\n" + std::string(65536, 'm'),
         {std::string(200000, 'l'), std::string(65536, 'm')}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.contents.substr(0, 10));
        const std::string name = directory.file("lines", c.contents);
        BFile file(name);
        file.open("rb");
        CountingFile counting(name);
        counting.open("rb");
        for (const std::string& line : c.lines) {
            EXPECT_FALSE(file.isEof());
            EXPECT_EQ(file.getLine(), line);
            EXPECT_EQ(counting.getLine(), line);
            EXPECT_EQ(counting.isEof(), file.isEof());
        }
        EXPECT_TRUE(file.isEof());
        EXPECT_EQ(file.getLine(), "");
        // One call a byte, and one that hit the end.
        EXPECT_EQ(counting.sizes, std::vector<unsigned long>(c.contents.size() + 1, 1));
    }
}

TEST_F(BFileTest, ReadsLinesThroughTheReadOfADerivedClass) {
    CountingFile file(directory.file("lines", "axb\nx"));
    file.open("rb");
    EXPECT_EQ(file.getLine(), "ayb");
    EXPECT_EQ(file.sizes, std::vector<unsigned long>(4, 1));
    EXPECT_EQ(file.getLine(), "y");
}

TEST_F(BFileTest, FailsOnAClosedFileAsOnABadDescriptor) {
    BFile file("name");
    const std::string end = " name " + errorText(EBADF);
    char byte = 0;
    EXPECT_FAILURE(file.read(&byte, 1), "BFile::read(): error on fread" + end);
    EXPECT_FAILURE(file.write(&byte, 1), "BFile::write(): error on fwrite" + end);
    EXPECT_FAILURE(file.flush(), "BFile::flush(): error on fflush" + end);
    EXPECT_FAILURE(file.setPosition(0), "BFile::setPosition(): error on fseek()" + end);
    EXPECT_FAILURE(file.getPosition(), "BFile::getPosition(): error on ftell()" + end);
    EXPECT_TRUE(file.isEof());
    EXPECT_EQ(file.getLine(), "");
}

TEST_F(BFileTest, FailsInTheDirectionThatIsNotOpen) {
    const std::string name = directory.file("file", "contents");
    BFile file(name);
    char byte = 'c';
    file.open("rb");
    EXPECT_FAILURE(file.write(&byte, 1),
                   "BFile::write(): error on fwrite " + name + " " + errorText(EBADF));
    EXPECT_EQ(file.read(&byte, 1), 1UL);
    file.open("ab");
    EXPECT_FAILURE(file.read(&byte, 1),
                   "BFile::read(): error on fread " + name + " " + errorText(EBADF));
    EXPECT_FAILURE(file.getLine(),
                   "BFile::read(): error on fread " + name + " " + errorText(EBADF));
    file << "!";
    file.close();
    EXPECT_EQ(contentsOf(name), "contents!");
}

TEST_F(BFileTest, KeepsTheNameOfAFailedOpen) {
    const std::string missing = directory.name("missing");
    BFile file(directory.file("old", "x"));
    file.open("rb");
    EXPECT_FAILURE(file.open(missing.c_str(), "rb"),
                   "BFile::create(): can not fopen " + missing + " mode:rb.");
    EXPECT_EQ(file.name(), missing);
    EXPECT_FALSE(file.isOpen());
    EXPECT_FAILURE(file.open(directory.name().c_str(), "rb"),
                   "BFile::create(): can not fopen " + directory.name() + " mode:rb.");
    EXPECT_FAILURE(file.open("Q:\\a", "wb"), "BFile::create(): can not fopen Q:\\a mode:wb.");
}

TEST_F(BFileTest, OpensASecondTimeWithoutLosingTheFirstFile) {
    BFile file(directory.name("first"));
    file.create("wb") << "kept";
    file.open(directory.name("second").c_str(), "wb");
    EXPECT_EQ(contentsOf(directory.name("first")), "kept");
}

TEST_F(BFileTest, RefusesPositionsFrom2GiBOn) {
    const std::string name = directory.file("file", "contents");
    BFile file(name);
    file.open("rb");
    EXPECT_EQ(file.setPosition(0x7FFFFFFF).getPosition(), 0x7FFFFFFFUL);
    EXPECT_FAILURE(file.setPosition(0x80000000UL),
                   "BFile::setPosition(): error on fseek() " + name + " " + errorText(EINVAL));
    EXPECT_FALSE(file.isEof());
}

TEST_F(BFileTest, TellsItsSizeFromTheRecord) {
    const std::string name = directory.file("file", "four");
    BFile file(name);
    EXPECT_EQ(file.size(), 4UL);
    file.open("ab") << "more";
    file.flush();
    EXPECT_EQ(file.size(), 4UL);
    file.getInformation();
    EXPECT_EQ(file.size(), 8UL);
    EXPECT_FAILURE(BFile(directory.name("missing")).size(),
                   "BPath::getInformation(): file not found " + directory.name("missing") + " " +
                       errorText(ENOENT));
}

TEST_F(BFileTest, AsksForAccessInFourModesOnly) {
    const std::string name = directory.file("file");
    for (const auto mode :
         {BFile::accessExists, BFile::accessRead, BFile::accessWrite, BFile::accessReadWrite}) {
        EXPECT_TRUE(BFile(name).canAccess(mode));
        EXPECT_FALSE(BFile::canAccess(directory.name("missing").c_str(), mode));
    }
    for (const int mode : {-1, 4, 6}) {
        EXPECT_LOGIC_FAILURE(BFile(name).canAccess(static_cast<BFile::AccessMode>(mode)),
                             "BFile::canAccess(): Invalid access mode specified for file " + name);
    }
}

TEST_F(BFileTest, RemovesFilesOnly) {
    BFile file(directory.file("file"));
    EXPECT_EQ(&file.remove(), &file);
    EXPECT_FALSE(fs::exists(file.name()));
    EXPECT_FAILURE(file.remove(),
                   "BFile::remove(): error removing file " + file.name() + " " + errorText(ENOENT));
    EXPECT_THROW(BFile::remove(directory.name().c_str()), std::runtime_error);
    EXPECT_TRUE(fs::exists(directory.path()));
}

TEST_F(BFileTest, CopiesAndNamesBothInTheFailure) {
    const std::string source = directory.file("source", "new");
    const std::string target = directory.file("target", "old");
    errno = EEXIST;  // a system whose copying leaves errno alone fails with what it holds
    EXPECT_FAILURE(BFile::copy(source.c_str(), target.c_str(), false),
                   "BFile::copy(): failed " + source + " to " + target + " " + errorText(EEXIST));
    EXPECT_EQ(contentsOf(target), "old");
    BFile(source).copy(target.c_str(), true);
    EXPECT_EQ(contentsOf(target), "new");
    EXPECT_THROW(BFile::copy(source.c_str(), source.c_str(), true), std::runtime_error);
    EXPECT_EQ(contentsOf(source), "new");
}

TEST_F(BFileTest, FindsTheFirstFreeNumber) {
    const std::string report = directory.name("report.txt");
    EXPECT_EQ(BFile::safeFileName(report), report);
    directory.file("report.txt");
    directory.file("report.002.txt");
    EXPECT_EQ(BFile::safeFileName(report), directory.name("report.001.txt"));
    directory.file("report.001.txt");
    EXPECT_EQ(BFile::safeFileName(report), directory.name("report.003.txt"));
    for (int number = 3; number < 1000; ++number)
        directory.file("report." + std::to_string(number + 1000).substr(1) + ".txt");
    EXPECT_EQ(BFile::safeFileName(report), directory.name("report.1000.txt"));

    // The last dot of the whole text, wherever it stands.
    fs::create_directory(directory.name("a.d"));
    EXPECT_EQ(BFile::safeFileName(directory.file("a.d/report")), directory.name("a.001.d/report"));
}

TEST_F(BFileTest, NumbersANameWithoutADotAtItsEnd) {
    const std::string name = directory.file("plain");
    if (name.find('.') != std::string::npos)
        GTEST_SKIP() << "the place for temporary files has a dot in its name";
    EXPECT_EQ(BFile::safeFileName(name), name + ".001");
}

}  // namespace
