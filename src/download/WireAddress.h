#pragma once

#include <string>
#include <string_view>

namespace vantor::download {

// The address as it goes on the wire. The program holds addresses as UTF-8 text; the marketplace's are
// GBK, so that is what is sent, built exactly as its forms write them, blanks and quotes included.
// libcurl refuses some of these bytes, so they are percent-encoded here and every other byte, '%'
// included, is sent as it stands.
std::string wireAddress(std::string_view address);

} // namespace vantor::download
