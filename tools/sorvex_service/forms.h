// Services in words, and as JSON.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/services/administration.h"
#include "sorvex_service/failure.h"

namespace Sorvex::tools {

using platform::services::ServiceFacts;

/// "running" and its like.
std::string stateName(DWORD state);

/// The state of a name; nothing for a word that is none.
std::optional<DWORD> stateNamed(const std::string& name);

/// "automatic", "manual", "disabled".
std::string startTypeName(DWORD startType);
std::optional<DWORD> startTypeNamed(const std::string& name);

/// "own", "shared".
std::string serviceTypeName(DWORD type);
std::optional<DWORD> serviceTypeNamed(const std::string& name);

/// Why a service is stopped, in words; empty for one that ended without an error.
std::string endText(const platform::SERVICE_STATUS& status);

/// When a service came into its state; nothing where that isn't known.
std::optional<std::time_t> sinceOf(const ServiceFacts& service);

/// A time for people, in their zone: 2024-05-01 12:30:00.
std::string localTime(std::time_t time);

/// A time for programs: 2024-05-01T10:30:00Z.
std::string universalTime(std::time_t time);

/// A length of time, as "2 d 3 h" or "15 s".
std::string durationText(std::time_t seconds);

/// The text with control characters in a visible form, so that it can't leave its place.
std::string onOneLine(const std::string& text);

/// Columns aligned for people; the first row is the heading.
std::string asTable(const std::vector<std::vector<std::string>>& rows);

/// A JSON object on one line, built value by value.
class JsonObject {
public:
    JsonObject& text(const char* name, const std::string& value);
    JsonObject& number(const char* name, std::uint64_t value);
    JsonObject& flag(const char* name, bool value);
    JsonObject& nothing(const char* name);
    JsonObject& texts(const char* name, const std::vector<std::string>& values);

    std::string close() const { return "{" + members + "}"; }

private:
    JsonObject& member(const char* name, const std::string& value);

    std::string members;
};

/// A JSON string. What isn't UTF-8 becomes U+FFFD.
std::string quotedJson(const std::string& text);

}  // namespace Sorvex::tools
