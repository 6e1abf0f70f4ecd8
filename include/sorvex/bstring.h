// Text values, printf-style formatting, and the way failures are shown.
#ifndef SORVEX_BSTRING_H
#define SORVEX_BSTRING_H

#include <exception>
#include <iosfwd>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <sorvex/export.h>

namespace Sorvex {

/// A text of 8-bit characters: the standard string with conversions to and from numbers, editing,
/// words, fields and wildcards.
///
/// It holds nothing beside its base and can be passed wherever a standard string is taken by plain
/// reference. It has no virtual destructor: delete it as what it is.
///
/// A text can hold NUL characters, and each operation reads one of two views of it: the whole view
/// is all stored characters; the text view ends before the first NUL. Copies, assignments and
/// number conversions read the text view, and so does every static operation, of its texts as of
/// its result. Where nothing else is said, members read the whole view.
///
/// A null pointer is no text. Several threads may read one object at the same time; changing it
/// takes it for one thread alone.
class SORVEX_API BString : public std::string {
public:
    BString() noexcept = default;                                      ///< An empty text.
    explicit BString(const std::allocator<char>& allocator) noexcept;  ///< An empty text as well.

    /// A copy of the text view of the source: a NUL and what stands behind it stay out, also when
    /// the source is moved from.
    BString(const BString& source);
    BString(BString&& source) noexcept;      ///< The text view of a source that is given up.
    BString(const std::string& source);      ///< The text view of a standard string.
    BString(std::string&& source) noexcept;  ///< The text view of a string that is given up.

    /// At most count characters of the text view of the source, from pos on.
    ///
    /// @throws std::out_of_range when pos is greater than the length of that view
    BString(const std::string& source, size_type pos, size_type count,
            const std::allocator<char>& allocator = std::allocator<char>());

    /// Exactly the count characters at text, NUL or not.
    BString(const char* text, size_type count,
            const std::allocator<char>& allocator = std::allocator<char>());

    /// The characters of text before its NUL.
    BString(const char* text, const std::allocator<char>& allocator = std::allocator<char>());

    /// count times the character c.
    BString(size_type count, char c,
            const std::allocator<char>& allocator = std::allocator<char>());

    /// Exactly the characters from first up to, not including, last, NUL or not.
    BString(const char* first, const char* last,
            const std::allocator<char>& allocator = std::allocator<char>());

    /// The decimal digits of a whole number, behind a minus sign if it is negative. Only the low 32
    /// bits of a long count. A character is a number too: BString('x') is "120", BString(1, 'x')
    /// "x".
    BString(int value);
    BString(unsigned int value);   ///< The digits of a number from 0 on.
    BString(long value);           ///< The digits of the low 32 bits, read with a sign.
    BString(unsigned long value);  ///< The digits of the low 32 bits, from 0 on.

    /// The text of printf's "%f": six decimals, rounded exactly, with the decimal point of the
    /// locale in force.
    ///
    /// A text of more than 31 characters, which takes a magnitude of 1e23 at least, gives way to
    /// the shortest form with an exponent that asDouble reads back as the same number ("2e+24").
    BString(double value);

    ~BString() = default;

    /// Takes over the text view of the source. A text assigned to itself is cut at its first NUL.
    BString& operator=(const BString& source);

    /// Formats a printf-style list of values, of at most 4095 characters. NUL characters that the
    /// format produces stay in the result.
    ///
    /// @throws std::runtime_error "BString::asString() : buffer overflow" when the text is longer,
    ///     or when the runtime can't format it.
    [[gnu::format(printf, 1, 2)]] static BString asString(const char* format, ...);

    // No conversion takes an object: of a standard string pass c_str().
    template <typename... Values>
    static std::enable_if_t<(std::is_class_v<Values> || ...), BString> asString(
        const char*, const Values&...) = delete;

    /// The number at the start of the text view, in decimal.
    ///
    /// Here as in the other conversions leading white space and one sign are passed over, what
    /// stands behind the number is left alone, and no digits at all give 0. A number beyond 32 bits
    /// gives the nearest limit, -2147483648 or 2147483647, and sets errno to ERANGE.
    int asInt() const;
    long asLong() const;    ///< The same number as a long.
    float asFloat() const;  ///< asDouble, narrowed.

    /// The number at the start of the text view: decimal with or without exponent, hexadecimal,
    /// "inf" or "nan", with the decimal point of the locale in force. A number out of range gives
    /// infinity or what is left of it near 0, and sets errno to ERANGE.
    double asDouble() const;

    /// The number at the start of the text view, from 0 to 4294967295; "-1" gives 4294967295. A
    /// greater one gives that limit as well and sets errno to ERANGE.
    ///
    /// @param base 2 to 36, or 0 to tell decimal, octal ("0") and hexadecimal ("0x") by the prefix.
    ///     Another base gives 0 and sets errno to EINVAL.
    unsigned long asUnsigned(int base = 10) const;

    /// Changes every character of the whole view by toupper of the locale in force, in place.
    BString& upperCase();

    static BString upperCase(const std::string& text);  ///< A copy of the text view in upper case.
    static BString upperCase(const char* text);         ///< A copy of a C text in upper case.

    /// Changes every character of the whole view by tolower of the locale in force, in place.
    BString& lowerCase();

    static BString lowerCase(const std::string& text);  ///< A copy of the text view in lower case.
    static BString lowerCase(const char* text);         ///< A copy of a C text in lower case.

    /// Whether all characters are printable in the locale in force, as the blank is, and tab,
    /// newline and NUL are not. True of an empty text. The static forms don't see what stands
    /// behind a NUL.
    bool isPrintable() const;
    static bool isPrintable(const std::string& text);  ///< Whether the text view is all printable.
    static bool isPrintable(const char* text);         ///< Whether a C text is all printable.

    /// Whether all characters are digits, 0 to 9 in every locale. True of an empty text. The static
    /// forms don't see what stands behind a NUL.
    bool isDigits() const;
    static bool isDigits(const std::string& text);  ///< Whether the text view is only digits.
    static bool isDigits(const char* text);         ///< Whether a C text is only digits.

    /// Whether the text is digits behind at most one minus sign. True of an empty text and of "-".
    /// What follows a minus sign is read in the text view, and so are the texts of the static
    /// forms.
    bool isSigned() const;
    static bool isSigned(const std::string& text);  ///< Whether the text view is such digits.
    static bool isSigned(const char* text);         ///< Whether a C text is such digits.

    /// Whether the text view is digits with at most one full stop before, among or behind them,
    /// behind at most one minus sign. No digit is needed: true of "", "-", "." and "-.".
    bool isDouble() const;
    static bool isDouble(const std::string& text);  ///< Whether the text view is such a number.
    static bool isDouble(const char* text);         ///< Whether a C text is such a number.

    /// Removes the longest run of characters of a set from the start and from the end.
    ///
    /// The stripping members work on the whole view, in place, and allocate nothing. The set is one
    /// character, all characters of a standard string, or those of a C text; without one it is
    /// blank, tab, carriage return and newline. An empty set removes nothing.
    BString& strip();
    BString& strip(char c);                  ///< Takes one character off both ends.
    BString& strip(const std::string& set);  ///< Takes the characters of a set off both ends.
    BString& strip(const char* set);         ///< Takes the characters of a C text off both ends.

    BString& stripLeading();        ///< Takes blanks, tabs and line ends off the start alone.
    BString& stripLeading(char c);  ///< Takes one character off the start.
    BString& stripLeading(const std::string& set);  ///< Takes a set's characters off the start.
    BString& stripLeading(const char* set);         ///< Takes a C text's characters off the start.

    BString& stripTrailing();        ///< Takes blanks, tabs and line ends off the end alone.
    BString& stripTrailing(char c);  ///< Takes one character off the end.
    BString& stripTrailing(const std::string& set);  ///< Takes a set's characters off the end.
    BString& stripTrailing(const char* set);         ///< Takes a C text's characters off the end.

    /// A copy of the text view without blanks, tabs and line ends at its start and its end.
    static BString stripBlanks(const std::string& text);
    /// A copy of the text view without one character at both ends.
    static BString strip(const std::string& text, char c);
    /// A copy of the text view without the characters of a set at both ends.
    static BString strip(const std::string& text, const std::string& set);
    /// A copy of the text view without the characters of a C text at both ends.
    static BString strip(const std::string& text, const char* set);

    /// A copy of the text view without blanks, tabs and line ends at its start.
    static BString stripLeadingBlanks(const std::string& text);
    /// A copy of the text view without one character at the start.
    static BString stripLeading(const std::string& text, char c);
    /// A copy of the text view without the characters of a set at the start.
    static BString stripLeading(const std::string& text, const std::string& set);
    /// A copy of the text view without the characters of a C text at the start.
    static BString stripLeading(const std::string& text, const char* set);

    /// A copy of the text view without blanks, tabs and line ends at its end.
    static BString stripTrailingBlanks(const std::string& text);
    /// A copy of the text view without one character at the end.
    static BString stripTrailing(const std::string& text, char c);
    /// A copy of the text view without the characters of a set at the end.
    static BString stripTrailing(const std::string& text, const std::string& set);
    /// A copy of the text view without the characters of a C text at the end.
    static BString stripTrailing(const std::string& text, const char* set);

    /// Replaces every occurrence of a text by another, in one pass from left to right, in linear
    /// time. What was written is not searched again: "aab" with "ab" changed to "b" is "ab". An
    /// empty from changes nothing. Either argument may be this text itself.
    ///
    /// @throws std::length_error when the text would grow past its maximum; it is then unchanged
    BString& change(const std::string& from, const std::string& to);

    /// A changed copy of the text view, which ends where a NUL of to would stand.
    static BString change(const std::string& text, const std::string& from, const std::string& to);

    /// Replaces each character from by to, which may be NUL. The length stays.
    BString& change(char from, char to);

    /// Brings the text to width characters: pads it at the right end, or cuts it there. A text that
    /// is cut is cut at its first NUL as well.
    BString& leftJustify(size_type width, char fill = ' ');

    /// Brings the text to width characters: pads it at the left end, or cuts it at the right end.
    /// A text that is padded loses what stands behind its first NUL before, and one that is cut is
    /// cut at its first NUL as well.
    BString& rightJustify(size_type width, char fill = ' ');

    /// The position of the first character of a word; npos when there is no such word.
    ///
    /// To this member and the next two a word is a run of characters other than the blank; tab,
    /// newline and NUL belong to words.
    ///
    /// @param wordNumber counts from 1
    /// @param start the position to count from; inside a word it makes the rest of it the first
    size_type indexOfWord(size_type wordNumber, size_type start = 0) const;

    /// The text view of a word; empty when there is no such word.
    BString word(size_type wordNumber, size_type start = 0) const;

    /// How many words, or rests of one, stand at or behind start.
    size_type numberOfWords(size_type start = 0) const;

    /// Appends the words of the text, which delimiters part, and returns the size of the vector.
    ///
    /// Runs of delimiters are passed over. A word at the very beginning is ended by any delimiter,
    /// each other word only by the character that stands directly before it: with blank and comma,
    /// "a b,c d" is "a", "b,c", "d".
    ///
    /// A word that begins with one of the quotes ends at the next such quote that its delimiter
    /// follows at once, or at one that ends the text, and comes without both: with blank and
    /// apostrophe, "'a'b' c" is "a'b", "c". Where the delimiter does not occur any more, the first
    /// quote ends the word, or the last character of the text if it is that quote. Without a
    /// closing quote the word reaches to the end. "''" is an empty word, a lone quote at the end no
    /// word.
    ///
    /// @param words keeps what it holds; new elements may hold NUL characters
    /// @param delimiters, quotes sets of characters; empty ones are allowed
    size_type parseWords(std::vector<std::string>& words, const char* delimiters,
                         const char* quotes) const;

    /// Appends the fields of the text and returns the size of the vector.
    ///
    /// The first delimiter in the text is the only one of the whole text: with comma and semicolon,
    /// "a;b,c;d" is "a", "b,c", "d". Each one ends a field, so two in a row enclose an empty field;
    /// one at the very end opens no further field. A text that begins with a delimiter begins with
    /// an empty field.
    ///
    /// @param fields keeps what it holds; each new element is the text view of a field. This text
    ///     may be one of its elements.
    /// @param delimiters a set of characters; when it is empty the whole text is one field
    size_type parseFields(std::vector<BString>& fields, const char* delimiters) const;

    /// Whether the text matches a pattern, in which "?" stands for one character and "*" for any
    /// run, the empty one included. All other characters stand for themselves, byte for byte.
    ///
    /// The match is one forward pass in linear time: what follows a "*" is taken where it first
    /// occurs, and not tried again further on. "*.txt" does not match "a.txt.txt".
    ///
    /// The members compare the whole view of this text, the static forms the text view of theirs.
    /// A pattern is read in its text view.
    bool isLike(const std::string& pattern) const;
    bool isLike(const char* pattern) const;  ///< Whether it matches a pattern in a C text.
    /// Whether the text view of a text matches a pattern.
    static bool isLike(const std::string& text, const std::string& pattern);
    static bool isLike(const char* text, const char* pattern);  ///< Whether a C text matches one.
};

/// Formats a printf-style list of values, of at most 4095 characters.
///
/// The result ends at the first NUL character of the formatted text, and where the runtime fails,
/// on a character that can't be converted.
///
/// @throws std::runtime_error "asString() : buffer overflow" when the text is longer.
[[gnu::format(printf, 1, 2)]] SORVEX_API std::string asString(const char* format, ...);

// No conversion takes an object: of a standard string pass c_str().
template <typename... Values>
std::enable_if_t<(std::is_class_v<Values> || ...), std::string> asString(const char*,
                                                                         const Values&...) = delete;

/// Writes an exception as two lines, the first reading "Exception !" and the second what() of it,
/// and flushes the stream after each. Outside this namespace it takes a using Sorvex::operator<<,
/// since an exception of the standard does not lead the compiler here.
SORVEX_API std::ostream& operator<<(std::ostream& stream, std::exception& failure);

/// Small services of the operating system that belong to no object.
class SORVEX_API OSInterface {
public:
    /// Suspends the calling thread once, for a duration in microseconds cut to whole milliseconds.
    /// Less than 1000 only gives up the rest of the thread's turn. Only the low 32 bits count.
    static void sleep(unsigned long duration);

    /// The character between the names of a path: the backslash, on every host.
    static char directorySeparatorCharacter() noexcept;
};

}  // namespace Sorvex

#endif
