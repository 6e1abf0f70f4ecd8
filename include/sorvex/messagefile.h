// Message catalogues: keyed texts from a plain text file.
#ifndef SORVEX_MESSAGEFILE_H
#define SORVEX_MESSAGEFILE_H

#include <map>
#include <string>
#include <type_traits>

#include <sorvex/export.h>

namespace Sorvex {

/// A table of message texts, read from a file and looked up by key.
///
/// The file holds one entry a line, KEY = text, in any order; the last line of a key wins. Blank
/// lines, lines that begin with // and lines without a key and a = are passed over. Blanks, tabs
/// and carriage returns around key and text don't count, inner ones do. There is no quoting and
/// there are no escapes; a line may have any length. Key and text each end at their first NUL.
///
/// A text is a format in the manner of printf. In the formatted text, `#KEY` refers to another
/// entry, with up to two arguments for its two conversions s: `#KEY:first:second`. A reference ends
/// at the first space, and only there; the second argument takes all further colons.
///
///     // file messages
///     FILES = %s files
///     COPIED = #FILES:%d copied to %s
///
/// Here text("COPIED", 12, "C:\\my files") gives "12 files copied to C:\my files". As an argument
/// of the reference, that path would be parted at its colon and cut at its space: values that may
/// hold such characters belong into a %s outside references.
///
/// Texts and arguments may come from anywhere: whatever they hold, a look-up ends soon, and a
/// reference reads and writes nothing but its own arguments. What has to fit is the list of values
/// that the application passes: their number and types are those of the text's conversions.
///
/// Look-ups may run at the same time in several threads while nothing adds texts.
class SORVEX_API MessageFile {
public:
    /// Reads a catalogue file. One that is missing or can't be read gives an empty catalogue.
    explicit MessageFile(const char* name);

    MessageFile(const MessageFile&) = default;  ///< A catalogue of its own, with the same texts.
    MessageFile& operator=(const MessageFile&) = default;  ///< Takes the texts over.
    ~MessageFile();

    /// Sets the text of a key, both taken as they are.
    MessageFile& addText(const std::string& key, const std::string& text);

    /// The text of a key, formatted with the values, its references replaced by the texts that they
    /// name, and blanks, tabs and line ends taken off both ends. An unknown key gives an empty
    /// string.
    ///
    /// The text is formatted as by the host's own vsprintf, with every conversion that the runtime
    /// documents, numbered ones where it has them. It is shown as it stands, and no value is read,
    /// when it holds a conversion n, which stores a count, in any spelling, or anything else that
    /// the runtime does not know; when it mixes numbered and plain conversions; when it numbers one
    /// value as two types, or leaves a number out. A width or precision above 1000000 counts as
    /// that. Where the runtime fails, on a character that can't be converted, the text ends.
    ///
    /// The formatted text is cut to 4095 characters; the texts in place of references come on top.
    ///
    /// A text that is referred to is formatted with the reference's arguments, empty where it has
    /// none: its first two conversions s, or 1$s and 2$s by number, take them, with a width, a
    /// precision and a minus sign if need be. Any other conversion stays as it is. A reference
    /// stays, its sign included, where it names no entry or the entry gives an empty text, where it
    /// lies more than 16 levels deep, and where 4096 references have been replaced or some 500000
    /// been looked at in this look-up.
    std::string text(const char* key, ...);

    // No conversion takes an object: of a standard string pass c_str().
    template <typename... Values>
    std::enable_if_t<(std::is_class_v<Values> || ...), std::string> text(const char*,
                                                                         const Values&...) = delete;

protected:
    void readFile();  ///< Reads the file, over the entries that are there.

private:
    std::map<std::string, std::string> texts;
    std::string fileName;
};

}  // namespace Sorvex

#endif
