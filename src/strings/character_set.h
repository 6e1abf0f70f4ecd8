// Sets of characters and the question whether a character belongs to one.
#pragma once

#include <cstddef>
#include <string_view>

#include "strings/byte_vector.h"

namespace Sorvex {

/// A set of one to four characters, asked by comparing, of sixteen at a time too.
class FewCharacters {
public:
    static constexpr std::size_t limit = 4;

    explicit constexpr FewCharacters(std::string_view members) noexcept
        : first(members[0]),
          second(members[members.size() > 1 ? 1 : 0]),
          third(members[members.size() > 2 ? 2 : 0]),
          fourth(members[members.size() > 3 ? 3 : 0]) {}

    constexpr bool operator()(char c) const noexcept {
        return (c == first) | (c == second) | (c == third) | (c == fourth);
    }

    ByteVector operator()(const ByteVector& characters) const noexcept {
        return (characters == ByteVector(first)) | (characters == ByteVector(second)) |
               (characters == ByteVector(third)) | (characters == ByteVector(fourth));
    }

private:
    char first;
    char second;
    char third;
    char fourth;
};

/// A set of any characters. It holds no reference to the text that it was made of.
class CharacterSet {
public:
    explicit constexpr CharacterSet(std::string_view members) noexcept {
        for (const char c : members)
            isMember[static_cast<unsigned char>(c)] = true;
    }

    constexpr bool operator()(char c) const noexcept {
        return isMember[static_cast<unsigned char>(c)];
    }

private:
    bool isMember[256] = {};
};

}  // namespace Sorvex
