#pragma once

#include <stdexcept>
#include <string>

namespace vantor::parse {

// A page that cannot be read as the program expects: the message is the text shown to the user.
class TParseException : public std::runtime_error {
public:
    explicit TParseException(const std::string& message) : std::runtime_error(message) {}
};

} // namespace vantor::parse

// The module keeps its name where the rest of the program meets it.
namespace vantor {
using parse::TParseException;
} // namespace vantor
