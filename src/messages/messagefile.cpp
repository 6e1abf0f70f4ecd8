#include <sorvex/messagefile.h>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "messages/catalogue_format.h"
#include "messages/reference_expander.h"
#include "platform/platform.h"
#include "strings/text_view.h"

namespace Sorvex {

namespace {

struct FileRelease {
    void operator()(platform::FILE* file) const { platform::fclose(file); }
};

/// Sets the entry that a line of the file holds, if it holds one.
void addLine(std::map<std::string, std::string>& texts, std::string_view line) {
    line = catalogue::stripped(line);
    if (line.starts_with("//"))
        return;
    const std::size_t separator = line.find('=');
    if (separator == std::string_view::npos || separator == 0)
        return;
    const std::string_view key = catalogue::stripped(textView(line.substr(0, separator)));
    const std::string_view text = catalogue::stripped(textView(line.substr(separator + 1)));
    // Catalogues are often sorted, and then the end is the right place.
    texts.insert_or_assign(texts.end(), std::string(key), std::string(text));
}

}  // namespace

MessageFile::MessageFile(const char* name) : fileName(name) {
    readFile();
}

MessageFile::~MessageFile() = default;

MessageFile& MessageFile::addText(const std::string& key, const std::string& text) {
    texts.insert_or_assign(key, text);
    return *this;
}

std::string MessageFile::text(const char* key, ...) {
    const auto entry = texts.find(key);
    if (entry == texts.end())
        return {};
    char block[catalogue::blockSize];
    va_list values;
    va_start(values, key);
    const std::string_view message = catalogue::formatWithValues(block, entry->second, values);
    va_end(values);
    if (message.find('#') == std::string_view::npos)
        return std::string(catalogue::stripped(message));
    return catalogue::ReferenceExpander(texts).expand(std::string(message));
}

void MessageFile::readFile() {
    const std::unique_ptr<platform::FILE, FileRelease> file(platform::fopen(fileName.c_str(), "r"));
    if (file == nullptr)
        return;
    std::string contents;
    std::vector<char> block(64 * 1024);
    while (const std::size_t count = platform::fread(block.data(), 1, block.size(), file.get()))
        contents.append(block.data(), count);
    for (std::string_view rest = contents; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        addLine(texts, line);
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    }
}

}  // namespace Sorvex
