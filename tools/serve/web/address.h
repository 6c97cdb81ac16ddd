// Where the server listens, and by which names it may be asked for.
#ifndef TESSARY_TOOLS_SERVE_WEB_ADDRESS_H
#define TESSARY_TOOLS_SERVE_WEB_ADDRESS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

struct Address {
  std::string host = "127.0.0.1";  // without the brackets of IPv6
  std::uint16_t port = 9464;
};

// 127.0.0.1:9464, bench7:9464, [::1]:9464, bench7, :9464 (every address of this machine), 9464
std::optional<Address> parseAddress(std::string_view text);

// As a browser has it: 127.0.0.1:9464, [::1]:9464
std::string addressText(const Address& address);

// Whether nobody but this machine reaches it.
bool isLoopback(const std::string& host);

// Whether a request may be for this host. A page from elsewhere can have its own name lead here, and would be
// let read what is served: what such a name cannot be is allowed, a loopback name or address, and what the
// server was told to listen on; where that is every address, any address, but no name. The port is not
// looked at: it may be another one's that is led here, and it is no part of the trick.
bool isAllowedHost(std::string_view header, const std::string& listening);

}  // namespace tool

#endif
