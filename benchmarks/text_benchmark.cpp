// BString beside the standard library, Boost, Abseil and POCO.
//
// "limit" is hand-written code for the one case, which no library can be expected to beat.
//
// Two figures stay above 1. Stripping a short text costs about as much as copying it: here that is
// one or two calls into the shared library and a look for the first NUL more, 7 of 31 ns. A double
// takes 1.1 of the best peer, since the standard library's own conversion is what the time goes to.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <fnmatch.h>

#include <sorvex/bstring.h>

#include "comparison.h"

#ifdef SORVEX_BENCH_ABSL
#include <absl/strings/ascii.h>
#include <absl/strings/numbers.h>
#include <absl/strings/str_cat.h>
#include <absl/strings/str_format.h>
#include <absl/strings/str_replace.h>
#include <absl/strings/str_split.h>
#endif
#ifdef SORVEX_BENCH_BOOST
#include <boost/algorithm/string.hpp>
#include <boost/tokenizer.hpp>
#endif
#ifdef SORVEX_BENCH_POCO
#include <Poco/NumberFormatter.h>
#include <Poco/NumberParser.h>
#include <Poco/String.h>
#include <Poco/StringTokenizer.h>
#endif

namespace {

using comparison::add;
using Sorvex::BString;
using Strings = std::vector<std::string>;

constexpr std::size_t megabyte = 1000000;

std::string repeated(const std::string& piece, std::size_t length) {
    std::string text;
    while (text.size() < length)
        text += piece;
    return text;
}

void numbersToText() {
    static volatile int number = 1234567;
    const std::string digits = "1234567";
    add("IntToText", "sorvex", digits, [] { return BString(int{number}); });
    add("IntToText", "std_to_string", digits, [] { return std::to_string(number); });
    static volatile double value = 12345.678901;
    const std::string decimals = "12345.678901";
    add("DoubleToText", "sorvex", decimals, [] { return BString(double{value}); });
    add("DoubleToText", "std_to_string", decimals, [] { return std::to_string(value); });
    add("DoubleToText", "to_chars", decimals, [] {
        char text[64];
        return std::string(
            text, std::to_chars(text, std::end(text), value, std::chars_format::fixed, 6).ptr);
    });
#ifdef SORVEX_BENCH_ABSL
    add("IntToText", "absl_StrCat", digits, [] { return absl::StrCat(number); });
    add("DoubleToText", "absl_StrFormat", decimals, [] { return absl::StrFormat("%f", value); });
#endif
#ifdef SORVEX_BENCH_POCO
    add("IntToText", "poco", digits, [] { return Poco::NumberFormatter::format(number); });
    add("DoubleToText", "poco", decimals, [] { return Poco::NumberFormatter::format(value, 6); });
#endif
}

void textToNumbers() {
    static const BString digits("-1234567");
    add("TextToInt", "sorvex", -1234567, [] { return digits.asInt(); });
    add("TextToInt", "std_stoi", -1234567, [] { return std::stoi(digits); });
    add("TextToInt", "atoi", -1234567, [] { return std::atoi(digits.c_str()); });
    static const BString decimals("-12345.678901");
    const double value = -12345.678901;
    add("TextToDouble", "sorvex", value, [] { return decimals.asDouble(); });
    add("TextToDouble", "strtod", value, [] { return std::strtod(decimals.c_str(), nullptr); });
#ifdef SORVEX_BENCH_ABSL
    add("TextToInt", "absl_SimpleAtoi", -1234567, [] {
        int read = 0;
        return absl::SimpleAtoi(digits, &read) ? read : 0;
    });
    add("TextToDouble", "absl_SimpleAtod", value, [] {
        double read = 0;
        return absl::SimpleAtod(decimals, &read) ? read : 0;
    });
#endif
#ifdef SORVEX_BENCH_POCO
    add("TextToInt", "poco", -1234567, [] { return Poco::NumberParser::parse(digits); });
#endif
}

void formattingAndCopying() {
    static const char* const name = "inventory.txt";
    static volatile int number = 1234567;
    const std::string expected = "inventory.txt has 1234567 lines";
    add("FormatText", "sorvex", expected,
        [] { return BString::asString("%s has %d lines", name, number); });
    add("FormatText", "snprintf", expected, [] {
        char text[4096];
        const int length = std::snprintf(text, sizeof text, "%s has %d lines", name, number);
        return std::string(text, static_cast<std::size_t>(length));
    });
#ifdef SORVEX_BENCH_ABSL
    add("FormatText", "absl_StrFormat", expected,
        [] { return absl::StrFormat("%s has %d lines", name, number); });
#endif
    static const BString source("a text of about forty characters, or so.");
    static const std::string standard = source;
    add("CopyString", "sorvex", standard, [] { return BString(source); });
    add("CopyString", "std_string", standard, [] { return std::string(standard); });
}

void stripping() {
    static const std::string padded = "   a text of about forty characters, or so.\t\n";
    const std::string bare = "a text of about forty characters, or so.";
    add("StripInPlace", "sorvex", bare, [] {
        BString text(padded);
        text.strip();
        return text;
    });
    add("StripCopy", "sorvex", bare, [] { return BString::stripBlanks(padded); });
    add("Strip1M", "sorvex", std::string(), [] {
        BString text(megabyte, ' ');
        text.strip();
        return text;
    });
#ifdef SORVEX_BENCH_POCO
    add("StripInPlace", "poco", bare, [] {
        std::string text(padded);
        Poco::trimInPlace(text);
        return text;
    });
    add("StripCopy", "poco", bare, [] { return Poco::trim(padded); });
    add("Strip1M", "poco", std::string(), [] {
        std::string text(megabyte, ' ');
        Poco::trimInPlace(text);
        return text;
    });
#endif
#ifdef SORVEX_BENCH_ABSL
    add("StripInPlace", "absl", bare, [] {
        std::string text(padded);
        absl::StripAsciiWhitespace(&text);
        return text;
    });
    add("StripCopy", "absl", bare, [] { return std::string(absl::StripAsciiWhitespace(padded)); });
    add("Strip1M", "absl", std::string(), [] {
        std::string text(megabyte, ' ');
        absl::StripAsciiWhitespace(&text);
        return text;
    });
#endif
#ifdef SORVEX_BENCH_BOOST
    add("StripInPlace", "boost", bare, [] {
        std::string text(padded);
        boost::algorithm::trim(text);
        return text;
    });
#endif
}

/// All contenders leave the text alone and give a changed one.
void replacing(const std::string& workload, const std::string& source, const char* from,
               const char* to) {
    static std::vector<std::string> sources;
    sources.reserve(8);
    sources.push_back(source);
    const std::string& text = sources.back();
    std::string expected(source);
    for (std::size_t at = 0; (at = expected.find(from, at)) != std::string::npos;
         at += std::strlen(to))
        expected.replace(at, std::strlen(from), to);

    add(workload, "sorvex", expected, [&text, from = std::string(from), to = std::string(to)] {
        return BString::change(text, from, to);
    });
#ifdef SORVEX_BENCH_ABSL
    add(workload, "absl", expected, [&text, from, to] {
        return absl::StrReplaceAll(text, {{from, to}});
    });
#endif
#ifdef SORVEX_BENCH_POCO
    add(workload, "poco", expected,
        [&text, from, to] { return Poco::replace(text, std::string(from), std::string(to)); });
#endif
#ifdef SORVEX_BENCH_BOOST
    add(workload, "boost", expected,
        [&text, from, to] { return boost::algorithm::replace_all_copy(text, from, to); });
#endif
}

void replacingCharacters() {
    static const std::string text = repeated("a-b-cd-efg-", megabyte);
    std::string expected(text);
    std::replace(expected.begin(), expected.end(), '-', '+');
    add("ChangeChar1M", "sorvex", expected, [] {
        BString changed(text);
        changed.change('-', '+');
        return changed;
    });
    add("ChangeChar1M", "std_replace", expected, [] {
        std::string changed(text);
        std::replace(changed.begin(), changed.end(), '-', '+');
        return changed;
    });
}

void justifying() {
    const std::string right = std::string(993, '.') + "1234567";
    const std::string left = "1234567" + std::string(993, '.');
    add("RightJustify1000", "sorvex", right, [] {
        BString text("1234567");
        text.rightJustify(1000, '.');
        return text;
    });
    add("RightJustify1000", "std_insert", right, [] {
        std::string text("1234567");
        text.insert(0, 1000 - text.size(), '.');
        return text;
    });
    add("LeftJustify1000", "sorvex", left, [] {
        BString text("1234567");
        text.leftJustify(1000, '.');
        return text;
    });
    add("LeftJustify1000", "std_resize", left, [] {
        std::string text("1234567");
        text.resize(1000, '.');
        return text;
    });
}

void caseAndClasses() {
    static const std::string mixed = repeated("The quick brown Fox. ", megabyte);
    std::string upper(mixed);
    for (char& c : upper)
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    add("UpperCase1M", "sorvex", upper, [] {
        BString text(mixed);
        text.upperCase();
        return text;
    });
    add("UpperCase1M", "std_toupper", upper, [] {
        std::string text(mixed);
        for (char& c : text)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        return text;
    });
    static const BString digits(megabyte, '7');
    add("IsDigits1M", "sorvex", true, [] { return digits.isDigits(); });
    add("IsDigits1M", "std_all_of_isdigit", true, [] {
        return std::all_of(digits.begin(), digits.end(),
                           [](unsigned char c) { return std::isdigit(c) != 0; });
    });
#ifdef SORVEX_BENCH_ABSL
    add("UpperCase1M", "absl", upper, [] { return absl::AsciiStrToUpper(mixed); });
    add("IsDigits1M", "absl_all_of", true,
        [] { return std::all_of(digits.begin(), digits.end(), absl::ascii_isdigit); });
#endif
#ifdef SORVEX_BENCH_POCO
    add("UpperCase1M", "poco", upper, [] { return Poco::toUpper(mixed); });
#endif
}

Strings splitByHand(std::string_view text, char delimiter, bool keepEmpty) {
    Strings parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(delimiter), text.size());
        if (end > 0 || keepEmpty)
            parts.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

/// Compares a vector of any kind of text.
struct Parts {
    Strings expected;
    template <typename Text>
    friend bool operator==(const std::vector<Text>& parts, const Parts& other) {
        return std::equal(parts.begin(), parts.end(), other.expected.begin(), other.expected.end());
    }
};

void parsing() {
    static const BString commas(repeated("id,name,,a longer one with words,12.5,", megabyte) + "x");
    const Parts fields{splitByHand(commas, ',', true)};
    add("ParseFields1M", "sorvex", fields, [] {
        std::vector<BString> parts;
        commas.parseFields(parts, ",;");
        return parts;
    });
    add("ParseFields1M", "std_find", fields, [] { return splitByHand(commas, ',', true); });

    static const BString prose(repeated("the quick  brown fox jumps over it ", megabyte));
    const Parts words{splitByHand(prose, ' ', false)};
    add("ParseWords1M", "sorvex", words, [] {
        Strings parts;
        prose.parseWords(parts, " ", "'\"");
        return parts;
    });
    add("ParseWords1M", "std_find", words, [] { return splitByHand(prose, ' ', false); });

    static const BString quoted(repeated("\"a quoted part\" \"another, longer one\" ", megabyte));
    Parts unquoted;
    for (std::size_t i = 0; i < quoted.size(); i += 38) {
        unquoted.expected.emplace_back("a quoted part");
        unquoted.expected.emplace_back("another, longer one");
    }
    add("ParseQuoted1M", "sorvex", unquoted, [] {
        Strings parts;
        quoted.parseWords(parts, " ", "\"");
        return parts;
    });
    add("ParseQuoted1M", "std_quoted", unquoted, [] {
        Strings parts;
        std::istringstream stream(quoted);
        for (std::string part; stream >> std::quoted(part);)
            parts.push_back(part);
        return parts;
    });

    static const BString trap(repeated("'a", 100000) + " ");
    const Parts one{{trap.substr(1)}};
    add("ParseQuoteTrap100K", "sorvex", one, [] {
        Strings parts;
        trap.parseWords(parts, " ", "'");
        return parts;
    });
#ifdef SORVEX_BENCH_ABSL
    add("ParseFields1M", "absl_StrSplit", fields, [] {
        Strings parts = absl::StrSplit(static_cast<const std::string&>(commas), ',');
        return parts;
    });
    add("ParseWords1M", "absl_StrSplit", words, [] {
        Strings parts =
            absl::StrSplit(static_cast<const std::string&>(prose), ' ', absl::SkipEmpty());
        return parts;
    });
#endif
#ifdef SORVEX_BENCH_BOOST
    add("ParseFields1M", "boost_split", fields, [] {
        Strings parts;
        boost::algorithm::split(parts, static_cast<const std::string&>(commas),
                                [](char c) { return c == ','; });
        return parts;
    });
    const Parts pieces{splitByHand(repeated("a", 50000), ' ', false)};
    add("ParseQuoteTrap100K", "boost_tokenizer", pieces, [] {
        const boost::escaped_list_separator<char> separator('\\', ' ', '\'');
        const boost::tokenizer<boost::escaped_list_separator<char>> tokens(trap, separator);
        Strings parts;
        for (const std::string& token : tokens) {
            if (!token.empty())
                parts.push_back(token);
        }
        return parts;
    });
#endif
#ifdef SORVEX_BENCH_POCO
    add("ParseWords1M", "poco_StringTokenizer", words, [] {
        const Poco::StringTokenizer tokens(prose, " ", Poco::StringTokenizer::TOK_IGNORE_EMPTY);
        return Strings(tokens.begin(), tokens.end());
    });
#endif
}

std::size_t countByFinding(std::string_view text) {
    std::size_t words = 0;
    for (std::size_t at = 0; (at = text.find_first_not_of(' ', at)) != std::string_view::npos;) {
        ++words;
        at = text.find(' ', at);
        if (at == std::string_view::npos)
            break;
    }
    return words;
}

std::size_t findWord(std::string_view text, std::size_t number) {
    std::size_t at = 0;
    while ((at = text.find_first_not_of(' ', at)) != std::string_view::npos && --number > 0)
        at = text.find(' ', at);
    return at;
}

void words() {
    static const BString prose(repeated("the quick  brown fox jumps over it ", megabyte));
    const std::size_t count = countByFinding(prose);
    add("CountWords1M", "sorvex", count, [] { return prose.numberOfWords(); });
    add("CountWords1M", "std_find", count, [] { return countByFinding(prose); });
    const std::size_t place = findWord(prose, 50000);
    add("Word50000of1M", "sorvex", place, [] { return prose.indexOfWord(50000); });
    add("Word50000of1M", "std_find", place, [] { return findWord(prose, 50000); });
}

void wildcards() {
    static const char* const names[] = {"report_2024_01.txt", "report_2024_02.csv", "readme.md",
                                        "a_rather_long_name_of_a_file.txt"};
    add("WildcardNames", "sorvex", 1, [] {
        int matches = 0;
        for (const char* name : names)
            matches += BString::isLike(name, "report_*_0?.txt") ? 1 : 0;
        return matches;
    });
    add("WildcardNames", "fnmatch", 1, [] {
        int matches = 0;
        for (const char* name : names)
            matches += fnmatch("report_*_0?.txt", name, 0) == 0 ? 1 : 0;
        return matches;
    });

    static const BString text(repeated("some words, commas, and full stops. ", megabyte) +
                              "needle behind");
    add("WildcardLong1M", "sorvex", true, [] { return text.isLike("some*needle*"); });
    add("WildcardLong1M", "fnmatch", true,
        [] { return fnmatch("some*needle*", text.c_str(), 0) == 0; });
    add("WildcardLong1M", "limit_memmem", true, [] {
        return std::memcmp(text.data(), "some", 4) == 0 &&
               memmem(text.data() + 4, text.size() - 4, "needle", 6) != nullptr;
    });

    static const std::string pattern = repeated("*?", 1000);
    static const BString run(500, 'a');
    add("WildcardTrap1000", "sorvex", true, [] { return run.isLike(pattern); });
    add("WildcardTrap1000", "fnmatch", true,
        [] { return fnmatch(pattern.c_str(), run.c_str(), 0) == 0; });
}

}  // namespace

int main(int count, char** arguments) {
    numbersToText();
    textToNumbers();
    formattingAndCopying();
    stripping();
    replacing("Change1K", repeated("a text with %1 in it; ", 1000), "%1", "twelve");
    replacing("Change1MGrowing", repeated("12345678%1", megabyte), "%1", "twelve");
    replacing("Change1MShrinking", repeated("1234567890twelve", megabyte), "twelve", "12");
    replacingCharacters();
    justifying();
    caseAndClasses();
    parsing();
    words();
    wildcards();
    return comparison::run(count, arguments);
}
