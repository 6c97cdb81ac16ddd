#include "tools/serve/web/address.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

namespace tool {

namespace {

constexpr char kEveryAddress[] = "0.0.0.0";

bool isPortDigit(char c) { return c >= '0' && c <= '9'; }

std::optional<std::uint16_t> parsePort(std::string_view text) {
  std::uint16_t port = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, port);
  if (text.empty() || rest != end || error != std::errc{}) return std::nullopt;
  return port;
}

struct HostAndPort {
  std::string host;
  std::string_view port;  // with its colon; empty without one
};

// host, host:port, [address], [address]:port; in lower case. None when it is neither of them.
std::optional<HostAndPort> separate(std::string_view text) {
  HostAndPort parts;
  std::string_view host;
  if (!text.empty() && text[0] == '[') {
    const std::size_t close = text.find(']');
    if (close == std::string_view::npos) return std::nullopt;
    host = text.substr(1, close - 1);
    parts.port = text.substr(close + 1);
  } else {
    const std::size_t colon = std::min(text.find(':'), text.size());
    host = text.substr(0, colon);
    parts.port = text.substr(colon);
  }
  if (!parts.port.empty() && parts.port[0] != ':') return std::nullopt;
  for (const char c : host) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= ' ' || byte >= 0x7F || c == '/' || c == '@') return std::nullopt;
    parts.host += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return parts;
}

bool isAddress4(const std::string& host) {
  in_addr address{};
  return ::inet_pton(AF_INET, host.c_str(), &address) == 1;
}

bool isAddress6(const std::string& host) {
  in6_addr address{};
  return ::inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

bool isEveryAddress(const std::string& host) { return host == kEveryAddress || host == "::"; }

}  // namespace

std::optional<Address> parseAddress(std::string_view text) {
  Address address;
  if (!text.empty() && std::all_of(text.begin(), text.end(), isPortDigit)) {
    const std::optional<std::uint16_t> port = parsePort(text);
    if (port) address.port = *port;
    return port ? std::optional{address} : std::nullopt;
  }
  const std::optional<HostAndPort> parts = separate(text);
  if (!parts || text.empty()) return std::nullopt;
  address.host = parts->host.empty() ? kEveryAddress : parts->host;
  if (!parts->port.empty()) {
    const std::optional<std::uint16_t> port = parsePort(parts->port.substr(1));
    if (!port) return std::nullopt;
    address.port = *port;
  }
  return address;
}

std::string addressText(const Address& address) {
  const std::string host = isAddress6(address.host) ? "[" + address.host + "]" : address.host;
  return host + ":" + std::to_string(address.port);
}

bool isLoopback(const std::string& host) {
  return host == "localhost" || host == "::1" || (isAddress4(host) && host.compare(0, 4, "127.") == 0);
}

bool isAllowedHost(std::string_view header, const std::string& listening) {
  const std::optional<HostAndPort> parts = separate(header);
  if (!parts || parts->host.empty()) return false;
  if (!parts->port.empty() && !parsePort(parts->port.substr(1))) return false;
  if (isLoopback(parts->host) || parts->host == listening) return true;
  return isEveryAddress(listening) && (isAddress4(parts->host) || isAddress6(parts->host));
}

}  // namespace tool
