#include "tools/serve/web/http.h"

#include "tools/output.h"

#ifdef TESSARY_TOOLS_MICROHTTPD

#include <microhttpd.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <list>
#include <set>

#include "tools/recording/descriptor.h"
#include "tools/serve/boards/board.h"

namespace tool {

namespace {

constexpr unsigned kMostConnections = 512;
constexpr unsigned kMostOfAnAddress = 128;        // when others than this machine may come
constexpr std::size_t kCrowded = 448;             // from here on, whoever asks for nothing has to go
constexpr std::size_t kConnectionMemory = 16384;  // for a request's head, and for what is sent at once
constexpr unsigned kIdleSeconds = 10;             // in which nothing could be read or sent
constexpr unsigned kViewerIdleSeconds = 60;
constexpr std::int64_t kHeadNs = 10'000'000'000;  // for a request's head, however slowly it comes
constexpr std::int64_t kBodyNs = 60'000'000'000;  // for an answer, however slowly it is taken
constexpr std::size_t kMostAnswering = std::size_t{64} << 20U;  // bytes that are on their way
constexpr std::int64_t kSweepNs = 1'000'000'000;
constexpr std::size_t kStreamChunk = 8192;
constexpr int kBacklog = 256;

struct AddressInfo {
  addrinfo* first = nullptr;
  ~AddressInfo() {
    if (first != nullptr) ::freeaddrinfo(first);
  }
};

std::uint16_t portOf(int socket) {
  sockaddr_storage name{};
  socklen_t size = sizeof name;
  std::array<char, NI_MAXSERV> port{};
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size) != 0 ||
      ::getnameinfo(reinterpret_cast<sockaddr*>(&name), size, nullptr, 0, port.data(), port.size(),
                    NI_NUMERICSERV) != 0) {
    return 0;
  }
  return static_cast<std::uint16_t>(std::strtoul(port.data(), nullptr, 10));
}

Descriptor listenAt(const addrinfo& where) {
  Descriptor listening{
      ::socket(where.ai_family, where.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, where.ai_protocol)};
  const int yes = 1;
  ::setsockopt(listening.number(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  const bool listens = listening.number() >= 0 &&
                       ::bind(listening.number(), where.ai_addr, where.ai_addrlen) == 0 &&
                       ::listen(listening.number(), kBacklog) == 0;
  return listens ? std::move(listening) : Descriptor{};
}

Descriptor listenAt(const Address& address) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  AddressInfo found;
  const int wrong =
      ::getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &found.first);
  if (wrong != 0) throw Failure{addressText(address) + ": " + ::gai_strerror(wrong)};
  for (const addrinfo* where = found.first; where != nullptr; where = where->ai_next) {
    Descriptor listening = listenAt(*where);
    if (listening.number() >= 0) return listening;
  }
  throw Failure{addressText(address) + ": " + std::strerror(errno)};
}

// Takes headers, or the words behind the question mark, one by one.
using Take = std::function<void(const std::string& key, const std::string& value)>;

MHD_Result takeOne(void* take, MHD_ValueKind, const char* key, const char* value) {
  (*static_cast<const Take*>(take))(key, value != nullptr ? value : "");
  return MHD_YES;
}

void forEachValue(MHD_Connection* connection, MHD_ValueKind kind, const Take& take) {
  MHD_get_connection_values(connection, kind, takeOne, const_cast<Take*>(&take));
}

bool isNamed(const std::string& key, const char* name) { return ::strcasecmp(key.c_str(), name) == 0; }

Request requestOf(MHD_Connection* connection, const char* url, const char* method) {
  Request request;
  request.method = method;
  request.path = url;
  int hosts = 0;
  forEachValue(connection, MHD_HEADER_KIND, [&](const std::string& key, const std::string& value) {
    if (isNamed(key, "Host") && ++hosts > 0) request.host = hosts == 1 ? value : "";
    if (isNamed(key, "Accept")) request.accept += (request.accept.empty() ? "" : ",") + value;
    if (isNamed(key, "Last-Event-ID")) request.lastEventId = value;
  });
  forEachValue(connection, MHD_GET_ARGUMENT_KIND,
               [&](const std::string& key, const std::string& value) { request.query[key] = value; });
  return request;
}

// An answer that is being sent piece by piece.
struct Sending {
  std::unique_ptr<BodyStream> stream;
  MHD_Connection* connection;
  std::set<MHD_Connection*>* waiting;
  std::string text;  // of which so much has been sent
  std::size_t sent = 0;
};

BodyStream::Next nextText(Sending& sending) {
  sending.text.clear();
  sending.sent = 0;
  try {
    return sending.stream->next(sending.text);
  } catch (const std::exception&) {  // not through a library that is none of C++
    return BodyStream::kEnd;
  }
}

ssize_t sendOn(void* context, std::uint64_t, char* buffer, std::size_t most) {
  auto& sending = *static_cast<Sending*>(context);
  if (sending.sent == sending.text.size()) {
    const BodyStream::Next next = nextText(sending);
    if (next == BodyStream::kEnd) return MHD_CONTENT_READER_END_OF_STREAM;
    if (next == BodyStream::kNothingYet) {
      MHD_suspend_connection(sending.connection);
      sending.waiting->insert(sending.connection);
      return 0;
    }
  }
  const std::size_t count = sending.text.copy(buffer, most, sending.sent);
  sending.sent += count;
  return static_cast<ssize_t>(count);
}

void endSending(void* context) { delete static_cast<Sending*>(context); }

// A body on its way, and what all of them are.
struct Body {
  std::string text;
  std::size_t* answering;
};

void endBody(void* context) {
  const auto* const body = static_cast<Body*>(context);
  *body->answering -= body->text.size();
  delete body;
}

Answer busy() { return {MHD_HTTP_SERVICE_UNAVAILABLE, {{"Retry-After", "1"}}, "too busy\n", nullptr}; }

}  // namespace

struct HttpServer::Daemon {
  // Of those whose next request is waited for, the one that began to wait first is in front.
  struct Connection {
    int socket;
    std::int64_t untilNs;  // then it has to be done; 0: it may go on
    bool asks = true;      // its next request has not come yet
  };
  using Place = std::list<Connection>::iterator;

  Address address;
  Answerer answer;
  Descriptor listening;
  MHD_Daemon* mhd = nullptr;
  int epoll = -1;
  std::list<Connection> connections;
  std::set<MHD_Connection*> waiting;
  std::size_t answering = 0;  // bytes of bodies that are on their way
  std::int64_t sweptNs = 0;

  static MHD_Result onRequest(void* self, MHD_Connection* connection, const char* url, const char* method,
                              const char*, const char*, std::size_t* size, void** context) {
    // An answer at the first call ends the connection. What comes as a body is dropped, as long as it may take.
    const bool isFirst = *context == nullptr;
    *context = self;
    const bool mayStay =
        std::strcmp(method, MHD_HTTP_METHOD_GET) == 0 || std::strcmp(method, MHD_HTTP_METHOD_HEAD) == 0;
    if (mayStay && (isFirst || *size != 0)) {
      *size = 0;
      return MHD_YES;
    }
    try {
      return static_cast<Daemon*>(self)->reply(connection, requestOf(connection, url, method));
    } catch (const std::exception&) {  // not through a library that is none of C++
      return MHD_NO;
    }
  }

  static void onConnection(void* self, MHD_Connection* connection, void** context,
                           MHD_ConnectionNotificationCode code) {
    auto& daemon = *static_cast<Daemon*>(self);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
      const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
      daemon.connections.push_back({info->connect_fd, monotonicTime() + kHeadNs});
      *context = new Place{std::prev(daemon.connections.end())};
      if (daemon.connections.size() > kCrowded) daemon.sendAwayOldest();
      return;
    }
    auto* const place = static_cast<Place*>(*context);
    daemon.connections.erase(*place);
    daemon.waiting.erase(connection);
    delete place;
    *context = nullptr;
  }

  static void onCompleted(void* self, MHD_Connection* connection, void** context,
                          MHD_RequestTerminationCode) {
    auto& daemon = *static_cast<Daemon*>(self);
    *context = nullptr;
    daemon.waiting.erase(connection);
    const Place place = placeOf(connection);
    place->asks = true;
    place->untilNs = monotonicTime() + kHeadNs;
    daemon.connections.splice(daemon.connections.end(), daemon.connections, place);
  }

  static Place placeOf(MHD_Connection* connection) {
    const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return *static_cast<Place*>(info->socket_context);
  }

  MHD_Result reply(MHD_Connection* connection, const Request& request) {
    Connection& place = *placeOf(connection);
    place.asks = false;
    Answer made = answering < kMostAnswering ? answer(request) : busy();
    place.untilNs = made.stream ? 0 : monotonicTime() + kBodyNs;
    MHD_Response* const response =
        made.stream ? streamed(connection, std::move(made.stream)) : whole(std::move(made.body));
    if (response == nullptr) return MHD_NO;
    for (const auto& [name, value] : made.headers) {
      MHD_add_response_header(response, name.c_str(), value.c_str());
    }
    const MHD_Result queued = MHD_queue_response(connection, made.status, response);
    MHD_destroy_response(response);
    return queued;
  }

  MHD_Response* whole(std::string text) {
    auto* const body = new Body{std::move(text), &answering};
    answering += body->text.size();
    return MHD_create_response_from_buffer_with_free_callback_cls(body->text.size(), body->text.data(),
                                                                  endBody, body);
  }

  MHD_Response* streamed(MHD_Connection* connection, std::unique_ptr<BodyStream> stream) {
    MHD_set_connection_option(connection, MHD_CONNECTION_OPTION_TIMEOUT, kViewerIdleSeconds);
    auto* const sending = new Sending{std::move(stream), connection, &waiting, {}, 0};
    return MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kStreamChunk, sendOn, sending, endSending);
  }

  // The connection ends as if the other side had closed it.
  static void sendAway(Connection& connection) {
    ::shutdown(connection.socket, SHUT_RDWR);
    connection.asks = false;
    connection.untilNs = 0;
  }

  void sendAwayOldest() {
    const auto oldest = std::find_if(connections.begin(), connections.end(),
                                     [](const Connection& connection) { return connection.asks; });
    if (oldest != connections.end()) sendAway(*oldest);
  }

  // Whoever sends a head byte by byte is not idle, and never done.
  void sweep(std::int64_t now) {
    if (now - sweptNs < kSweepNs) return;
    sweptNs = now;
    for (Connection& connection : connections) {
      if (connection.untilNs != 0 && now > connection.untilNs) sendAway(connection);
    }
  }

  void resumeAll() {
    for (MHD_Connection* const connection : std::exchange(waiting, {})) MHD_resume_connection(connection);
  }
};

HttpServer::HttpServer(const Address& address, Answerer answer) : daemon_{std::make_unique<Daemon>()} {
  daemon_->address = address;
  daemon_->answer = std::move(answer);
  daemon_->listening = listenAt(address);
  const int listening = daemon_->listening.number();
  daemon_->address.port = portOf(listening);
  const unsigned ofAnAddress = isLoopback(address.host) ? kMostConnections : kMostOfAnAddress;
  daemon_->mhd = MHD_start_daemon(
      MHD_USE_EPOLL | MHD_USE_SUSPEND_RESUME, 0, nullptr, nullptr, &Daemon::onRequest, daemon_.get(),
      MHD_OPTION_LISTEN_SOCKET, listening, MHD_OPTION_CONNECTION_LIMIT, kMostConnections,
      MHD_OPTION_PER_IP_CONNECTION_LIMIT, ofAnAddress, MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds,
      MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionMemory, MHD_OPTION_STRICT_FOR_CLIENT, 1,
      MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1, MHD_OPTION_NOTIFY_CONNECTION, &Daemon::onConnection,
      daemon_.get(), MHD_OPTION_NOTIFY_COMPLETED, &Daemon::onCompleted, daemon_.get(), MHD_OPTION_END);
  if (daemon_->mhd == nullptr) throw Failure{addressText(address) + ": the server could not be started"};
  daemon_->listening.release();  // it closes it
  daemon_->epoll = MHD_get_daemon_info(daemon_->mhd, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
}

HttpServer::~HttpServer() {
  daemon_->resumeAll();
  MHD_stop_daemon(daemon_->mhd);
}

const Address& HttpServer::address() const { return daemon_->address; }

int HttpServer::descriptor() const { return daemon_->epoll; }

int HttpServer::timeOutMs() const {
  constexpr MHD_UNSIGNED_LONG_LONG kSweepMs = kSweepNs / 1'000'000;
  MHD_UNSIGNED_LONG_LONG timeOut = 0;
  if (MHD_get_timeout(daemon_->mhd, &timeOut) == MHD_YES) {
    return static_cast<int>(std::min<MHD_UNSIGNED_LONG_LONG>(timeOut, kSweepMs));
  }
  return daemon_->connections.empty() ? -1 : static_cast<int>(kSweepMs);
}

void HttpServer::run() {
  MHD_run(daemon_->mhd);
  daemon_->sweep(monotonicTime());
}

void HttpServer::wake() { daemon_->resumeAll(); }

std::size_t HttpServer::connections() const { return daemon_->connections.size(); }

}  // namespace tool

#else

namespace tool {

struct HttpServer::Daemon {
  Address address;
};

HttpServer::HttpServer(const Address&, Answerer) {
  throw Failure{"this build cannot serve: libmicrohttpd was not found (Debian: libmicrohttpd-dev)"};
}
HttpServer::~HttpServer() = default;
const Address& HttpServer::address() const { return daemon_->address; }
int HttpServer::descriptor() const { return -1; }
int HttpServer::timeOutMs() const { return -1; }
void HttpServer::run() {}
void HttpServer::wake() {}
std::size_t HttpServer::connections() const { return 0; }

}  // namespace tool

#endif
