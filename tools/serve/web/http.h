// The server's front: requests in, answers out, on one thread that the caller lends. It knows nothing of what
// is served. Built without libmicrohttpd, it throws at its construction.
#ifndef TESSARY_TOOLS_SERVE_WEB_HTTP_H
#define TESSARY_TOOLS_SERVE_WEB_HTTP_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/serve/web/address.h"

namespace tool {

struct Request {
  std::string method;
  std::string path;
  std::map<std::string, std::string> query;
  std::string host;  // empty: none, or more than one
  std::string accept;
  std::string lastEventId;
};

// A body of which the length is not known yet, and which may go on for ever.
class BodyStream {
 public:
  virtual ~BodyStream() = default;

  enum Next { kText, kNothingYet, kEnd };

  // Puts the next piece into `text`. After kNothingYet it is asked again when HttpServer::wake() was called.
  virtual Next next(std::string& text) = 0;
};

struct Answer {
  unsigned status = 200;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  std::unique_ptr<BodyStream> stream;  // instead of the body
};

using Answerer = std::function<Answer(const Request&)>;

class HttpServer {
 public:
  // Failure when it cannot listen there.
  HttpServer(const Address& address, Answerer answer);

  // Ends what is being sent.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // As it is: the port is not 0.
  const Address& address() const;

  // A descriptor that becomes readable when there is something to do, and after how many milliseconds there is
  // anyway; -1: never.
  int descriptor() const;
  int timeOutMs() const;
  void run();

  // The streams that had nothing may have something now.
  void wake();

  std::size_t connections() const;

 private:
  struct Daemon;
  std::unique_ptr<Daemon> daemon_;
};

}  // namespace tool

#endif
