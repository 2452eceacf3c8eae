#pragma once

#include "Rng.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vantor::demo {

// Writes markup the way the marketplace's pages look, and so that the program's clean-up (delete
// "<br/>" and whitespace runs, decode the entity table, lower-case) gives the model's text back.
// One per response, seeded from the request, so the same request always gets the same bytes.
class Markup {
public:
    explicit Markup(std::uint64_t seed) : rng_(seed) {}

    // Text or attribute value: some blanks as "&nbsp;", "&ensp;" or "&emsp;" (a blank after another
    // always, since a literal run would be deleted), "&" as "&amp;", "é" as "&eacute;", "注册",
    // "版权" and "商标" sometimes as "&reg;", "&copy;" and "&trade;".
    std::string text(std::string_view plain);
    // Like text(), with every occurrence of word wrapped in open and close (search highlights).
    std::string highlighted(std::string_view plain, std::string_view word, std::string_view open,
                            std::string_view close);
    // Text with a "<br/>" after some full-width commas, as comments are written.
    std::string comment(std::string_view plain);

    // A whole page in GBK: head, the body, footer; then some tag and attribute names in upper case
    // and line breaks with indentation between some tags.
    std::string page(std::string_view title, std::string_view body);
    // A page fragment in GBK (the buyer list service), roughened the same way.
    std::string fragment(std::string_view body);

    Rng& rng() { return rng_; }

private:
    std::string roughen(std::string_view html);

    Rng rng_;
};

// Chinese characters (and every other character outside ASCII) as "&#NNNNN;", as the rating pages
// write raters' names.
std::string decimalRefs(std::string_view plain);
// "128.00"
std::string money(double value);
// HTML attribute-safe form for addresses: "&" as "&amp;".
std::string attrUrl(std::string_view url);

} // namespace vantor::demo
