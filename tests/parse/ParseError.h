#pragma once

#include "parse/TParseException.h"

#include <string>

namespace vantor::test {

// The message of the TParseException the call raises, or a note that it raised none.
template <class Call> std::string parseError(Call call) {
    try {
        call();
    } catch (const TParseException& e) {
        return e.what();
    }
    return "(no TParseException)";
}

} // namespace vantor::test
