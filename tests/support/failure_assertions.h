// Assertions on failures: the exact type and the complete text.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include <gtest/gtest.h>

namespace Sorvex::testing {

/// Runs a statement and compares the exception that leaves it with a type and a text.
template <typename Exception, typename Statement>
::testing::AssertionResult failsWith(Statement statement, const std::string& text) {
    try {
        statement();
    } catch (const std::exception& failure) {
        if (typeid(failure) != typeid(Exception))
            return ::testing::AssertionFailure()
                   << "another type: " << typeid(failure).name() << " \"" << failure.what() << '"';
        if (text != failure.what())
            return ::testing::AssertionFailure()
                   << "\n  actual: \"" << failure.what() << "\"\nexpected: \"" << text << '"';
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "no failure; expected: \"" << text << '"';
}

}  // namespace Sorvex::testing

/// The statement throws exactly std::runtime_error with exactly this text.
#define EXPECT_FAILURE(statement, text) \
    EXPECT_TRUE(                        \
        (::Sorvex::testing::failsWith<std::runtime_error>([&] { (void)(statement); }, (text))))

/// The statement throws exactly std::logic_error with exactly this text.
#define EXPECT_LOGIC_FAILURE(statement, text) \
    EXPECT_TRUE(                              \
        (::Sorvex::testing::failsWith<std::logic_error>([&] { (void)(statement); }, (text))))
