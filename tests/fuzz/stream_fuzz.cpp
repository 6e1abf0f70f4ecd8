// Reading values of any types off any bytes.
//
// An input is a sequence of type numbers, each followed by the bytes of such a value.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>

#include <sorvex/bstream.h>
#include <sorvex/timestamp.h>

namespace {

using namespace Sorvex;

void require(bool holds) {
    if (!holds)
        std::abort();
}

/// Keeps the lengths of texts within what a sanitizer's allocator takes in its stride.
class InputStream : public BStreamBuffer {
public:
    using BStreamBuffer::BStreamBuffer;

    unsigned long read(void* buffer, unsigned long size) override {
        const unsigned long count = BStreamBuffer::read(buffer, size);
        require(count <= size);
        if (bounded && size == 4 && count == 4)
            static_cast<unsigned char*>(buffer)[3] = 0;
        return count;
    }

    bool bounded = false;
};

std::string_view unread(BStreamBuffer& stream) {
    return {static_cast<const char*>(stream.data()), stream.dataSize()};
}

/// A value that arrived whole goes back on a stream as the bytes that it came from.
template <typename Value>
void take(InputStream& input) {
    const std::string_view before = unread(input);
    Value value{};
    input >> value;
    BStreamBuffer back;
    back << value;
    const std::string_view form = unread(back);
    const std::size_t taken = before.size() - input.dataSize();
    require(taken <= form.size());
    if (taken == form.size())
        require(before.compare(0, taken, form) == 0);
}

void takeText(InputStream& input) {
    const std::string_view before = unread(input);
    std::string text = "before";
    input.bounded = true;
    input >> text;
    input.bounded = false;
    require(text.find('\0') == std::string::npos);
    require(before.size() < 4 ? text.empty() : before.compare(4, text.size(), text) == 0);
}

/// Writes the stream's own bytes behind themselves, which can make it grow.
void repeat(InputStream& input) {
    if (input.dataSize() > 10000)
        return;
    const std::string before(unread(input));
    input.write(input.data(), input.dataSize());
    require(unread(input) == before + before);
}

// An input names its types by their places here.
constexpr void (*steps[])(InputStream&) = {take<char>,
                                           take<signed char>,
                                           take<unsigned char>,
                                           take<short>,
                                           take<unsigned short>,
                                           take<int>,
                                           take<unsigned int>,
                                           take<long>,
                                           take<unsigned long>,
                                           take<float>,
                                           take<double>,
                                           take<TimeStamp>,
                                           takeText,
                                           repeat};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InputStream input(data, static_cast<unsigned long>(size));
    unsigned char type = 0;
    for (int count = 0; !input.isEmpty() && count < 100; ++count) {
        input >> type;
        steps[type % std::size(steps)](input);
    }
    return 0;
}
