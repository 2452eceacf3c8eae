#pragma once

#include <string>
#include <string_view>

// Character references as the marketplace writes names: "&#xB0A1;" (a GBK character's two bytes in
// hexadecimal) and "&#21152;" (a Unicode code point in five decimal digits). Both reference forms are
// eight bytes long, ';' being the eighth.

namespace vantor::parse {

// Bytes below 0x81 are copied; a byte from 0x81 up and the byte after it become "&#x" + four upper-case
// hexadecimal digits + ";". A lead byte with nothing after it is copied as it is.
std::string toHexRefs(std::string_view text);

// "&#x" + four hexadecimal digits + ";" becomes the two bytes the digits spell. An ampersand that does
// not begin a complete reference is dropped and the piece produced just before it is written again
// (nothing at the very start): the marketplace's own decoder did so, and stored names depend on it.
std::string fromHexRefs(std::string_view text);

// "&#" + five decimal digits + ";" becomes that code point in GBK ('?' when GBK has no such
// character); other ampersands as in fromHexRefs.
std::string fromDecimalRefs(std::string_view text);

} // namespace vantor::parse
