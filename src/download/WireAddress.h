#pragma once

#include <string>
#include <string_view>

namespace vantor {

// The address as it goes on the wire. The marketplace's addresses are built exactly as its forms
// write them, blanks, quotes and GBK bytes included; libcurl refuses some of these bytes, so they are
// percent-encoded here and every other byte, '%' included, is sent as it stands.
std::string wireAddress(std::string_view address);

} // namespace vantor
