#pragma once

#include "market/Records.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vantor::parse {

// Page clean-up and entity decoding, and the full-row item list parser. Stateless.
class THTMLTools {
public:
    // Lower-cases the text (ASCII letters only), then runs the twelve entity passes in their fixed
    // order: &lt; &gt; &amp; &quot; &reg; &copy; &trade; &ensp; &emsp; &eacute; &nbsp; and "&\W+;".
    static std::string decodeEntities(std::string_view text);

    // Every match of the pattern replaced. With the lower-case flag both the subject and the pattern are
    // lower-cased first (an escape such as \W keeps its meaning).
    static std::string replaceAll(std::string_view pattern, std::string_view subject, bool lowerCase,
                                  std::string_view replacement);

    // Group 2 of the pattern's first match on the cleaned page as an integer, 0 when nothing matches.
    // TParseException when group 2 is not an integer.
    static std::int32_t matchInt(std::string_view page, std::string_view pattern);

    // Item list rows with the full-row layout: url 1, title 2 (spans removed), place 7, price 16,
    // shipping 17, seller 20, cells 22 and 23. The row expression needs at least 23 groups.
    static RecordList<TItemInfo> parseItemList(std::string_view page, std::string_view rowExpression);

    // The clean-up every parser runs first: "<br/>" and whitespace runs deleted, entities decoded,
    // letters lower-cased.
    static std::string cleanPage(std::string_view page);
};

} // namespace vantor::parse

// The module keeps its name where the rest of the program meets it.
namespace vantor {
using parse::THTMLTools;
} // namespace vantor
