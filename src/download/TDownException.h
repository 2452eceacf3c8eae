#pragma once

#include <stdexcept>

namespace vantor {

// A gathering job that failed; carries the user's message.
class TDownException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace vantor
