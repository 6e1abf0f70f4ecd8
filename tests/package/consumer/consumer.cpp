// An outside program: uses each family a little, derives from exported classes, casts between them,
// and catches across the border.
//   consumer [LIBRARY]   a library with a version resource, which has to tell its version
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>

#include <sorvex/sorvex.h>

namespace {

using namespace Sorvex;

class CountingStream : public BStream {
public:
    unsigned long read(void*, unsigned long) override { return 0; }
    unsigned long write(const void*, unsigned long size) override {
        bytes += size;
        return size;
    }

    unsigned long bytes = 0;
};

class FullStream : public BStream {
public:
    unsigned long read(void*, unsigned long) override { return 0; }
    unsigned long write(const void*, unsigned long) override { throw std::length_error("full"); }
};

class Poster : public BThreadFn {
public:
    explicit Poster(EventSemaphore& posted) : event(posted) {}
    void run() override { event.post(); }

private:
    EventSemaphore& event;
};

bool text() {
    return BString(7).rightJustify(3, '0') == "007" && asString("%d %s", 5, "times") == "5 times";
}

bool time() {
    const TimeStamp day(2024, 2, 29, 12, 0, 0, 0);
    return (day + 86400000UL).asString("%Y-%m-%d") == "2024-03-01";
}

bool streams() {
    CountingStream stream;
    stream << 1 << "two" << std::string("three");
    return stream.bytes == 16;
}

bool filesAndDirectories() {
    BDirectory("consumer.tmp/inner").create(true);
    BFile file("consumer.tmp/inner/file.txt");
    file.create("wb");
    file << 42;
    file.close();
    const bool whole = BFileCursor("consumer.tmp/inner", "*.txt").size() == 4 &&
                       dynamic_cast<BPath&>(static_cast<BStream&>(file)).exists();
    BDirectory::remove("consumer.tmp", true);
    return whole && !BDirectory::exists("consumer.tmp");
}

bool threads() {
    BMutex mutex;
    const BMutexLock lock(mutex);
    EventSemaphore event;
    BThread thread(new Poster(event), 0);
    event.wait(60000);
    thread.wait(60000);
    return true;
}

bool diagnostics() {
    { const Profiler profiler("consumer.profile", 1); }
    const bool written = BPath::exists("consumer.profile");
    BFile::remove("consumer.profile");
    return written;
}

bool services() {
    try {
        BServiceControlManager manager(nullptr, nullptr, 1);
        const BServiceControl control(manager, "no such service of the consumer", 1);
    } catch (const std::runtime_error&) {
        return true;
    }
    return false;
}

bool hostinfo() {
    return DllFinder().first() && UserProperties("ada").isMemberOfGroup("any");
}

bool messages() {
    MessageFile catalogue("no such catalogue");
    catalogue.addText("FULL", "%s is full");
    return catalogue.text("FULL", "the disk") == "the disk is full";
}

// The library's own exception comes here, and one of this program's passes through its frames.
bool exceptions() {
    try {
        BFile("no such file").open("rb");
        return false;
    } catch (const std::runtime_error& failure) {
        if (std::strstr(failure.what(), "no such file") == nullptr)
            return false;
    }
    try {
        FullStream() << 1;
    } catch (const std::length_error&) {
        return true;
    }
    return false;
}

bool hasOwnVersion(const char* library) {
    VersionInfo info(library);
    info.getInfo();
    return info.majorVersion() == SORVEX_VERSION_MAJOR &&
           info.minorVersion() == SORVEX_VERSION_MINOR && info.build() == SORVEX_VERSION_PATCH &&
           info.productVersion().find(std::to_string(SORVEX_VERSION_MAJOR) + '.') == 0;
}

}  // namespace

int main(int count, char** arguments) {
    const struct {
        const char* name;
        bool (*passes)();
    } checks[] = {
        {"text", text},         {"time", time},
        {"streams", streams},   {"files and directories", filesAndDirectories},
        {"threads", threads},   {"diagnostics", diagnostics},
        {"services", services}, {"hostinfo", hostinfo},
        {"messages", messages}, {"exceptions", exceptions},
    };
    for (const auto& check : checks) {
        if (!check.passes()) {
            std::printf("failed: %s\n", check.name);
            return 1;
        }
    }
    if (count > 1 && !hasOwnVersion(arguments[1])) {
        std::printf("another version: %s\n", arguments[1]);
        return 1;
    }
}
