#include "simulator/notify/supervisor.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>

#include "simulator/board/program.h"
#include "simulator/board/records.h"

namespace simulator {

namespace {

// Of newer headers: the kernel wakes each side on the processor of the other, which halves what asking
// costs; 6.6.
#ifndef SECCOMP_IOCTL_NOTIF_SET_FLAGS
#define SECCOMP_IOCTL_NOTIF_SET_FLAGS SECCOMP_IOW(4, __u64)
#define SECCOMP_USER_NOTIF_FD_SYNC_WAKE_UP (1UL << 0)
#endif

bool writeWhole(int file, const std::string& text) {
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t count = ::write(file, text.data() + written, text.size() - written);
    if (count <= 0) return false;
    written += static_cast<std::size_t>(count);
  }
  return true;
}

std::string renderedText(const Node& node) { return node.text ? node.text() : std::string{}; }

std::string ownLink(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

}  // namespace

// A call that waits, and one way of looking at its arguments.
struct Supervisor::Call {
  const seccomp_notif& notification;
  NotifiedCall shape;
  const Caller& caller;

  std::uint64_t argument(int position) const { return notification.data.args[position]; }
  int number(int position) const { return static_cast<int>(argument(position)); }
  int folder() const { return shape.folder == kNoFolder ? AT_FDCWD : number(shape.folder); }
  std::uint64_t other() const { return argument(shape.other); }
};

Supervisor::Supervisor(const Board& board, Descriptor listener)
    : board_{board}, listener_{std::move(listener)}, skeleton_{board}, places_{board, skeleton_} {
  calls_.resize(kFirstUnknownCall);
  for (const NotifiedCall& call : notifiedCalls())
    calls_[static_cast<std::size_t>(call.number)].push_back(call);
  ::ioctl(listener_.get(), SECCOMP_IOCTL_NOTIF_SET_FLAGS, SECCOMP_USER_NOTIF_FD_SYNC_WAKE_UP);
}

bool Supervisor::answerNext() {
  seccomp_notif notification{};
  if (::ioctl(listener_.get(), SECCOMP_IOCTL_NOTIF_RECV, &notification) != 0) return false;
  Answer given = theMachines();
  const Caller caller{static_cast<pid_t>(notification.pid), listener_.get(), notification.id};
  try {
    // A call with two paths has two shapes: the board's answer to either is the answer.
    for (const NotifiedCall& shape : calls_[static_cast<std::size_t>(notification.data.nr)]) {
      given = answer({notification, shape, caller});
      if (!given.isTheMachines) break;
    }
  } catch (const std::exception&) {
    given = failure(ENOMEM);
  }
  send(notification.id, given);
  return true;
}

void Supervisor::send(std::uint64_t id, const Answer& answer) {
  if (answer.file.get() >= 0) {
    seccomp_notif_addfd file{};
    file.id = id;
    file.flags = SECCOMP_ADDFD_FLAG_SEND;
    file.srcfd = static_cast<unsigned>(answer.file.get());
    file.newfd_flags = answer.closesOnExec ? O_CLOEXEC : 0;
    if (::ioctl(listener_.get(), SECCOMP_IOCTL_NOTIF_ADDFD, &file) >= 0 || errno == ENOENT) return;
    send(id, failure(errno));  // EMFILE is the program's
    return;
  }
  seccomp_notif_resp response{};
  response.id = id;
  response.val = answer.value;
  response.error = -answer.error;
  response.flags = answer.isTheMachines ? SECCOMP_USER_NOTIF_FLAG_CONTINUE : 0;
  ::ioctl(listener_.get(), SECCOMP_IOCTL_NOTIF_SEND, &response);  // fails for a thread that has ended
}

Supervisor::Answer Supervisor::theMachines() { return {true, 0, 0, Descriptor{}, false}; }
Supervisor::Answer Supervisor::failure(int error) { return {false, 0, error, Descriptor{}, false}; }
Supervisor::Answer Supervisor::result(std::int64_t value) { return {false, value, 0, Descriptor{}, false}; }

template <typename Record>
Supervisor::Answer Supervisor::record(const Call& call, const Record& record) {
  return call.caller.write(call.other(), &record, sizeof record) ? result(0) : failure(EFAULT);
}

Supervisor::Answer Supervisor::answer(const Call& call) {
  switch (call.shape.treatment) {
    case Treatment::kOpen:
      return open(call, call.number(call.shape.other), false);
    case Treatment::kOpenHow:
      return openAsAsked(call);
    case Treatment::kStatus:
    case Treatment::kStatusOfLink:
    case Treatment::kStatx:
      return status(call);
    case Treatment::kStatusOfFile:
      return statusOfFile(call);
    case Treatment::kTest:
      return test(call);
    case Treatment::kReadLink:
      return readLink(call);
    case Treatment::kFileSystem:
      return fileSystem(call);
    case Treatment::kChange:
      return refuse(call, EACCES);
    case Treatment::kAttribute:
      return refuse(call, EOPNOTSUPP);
    case Treatment::kEnter:
      return enter(call);
    case Treatment::kExecute:
      return execute(call);
    case Treatment::kWorkingFolder:
      return workingFolder(call);
    case Treatment::kReread:
    case Treatment::kRead:
      return readAgain(call);
    case Treatment::kProcess:
      return aboutProcess(call);
    case Treatment::kSignal:
      return signal(call);
    case Treatment::kAffinity:
      return affinity(call);
    case Treatment::kMemory:
      return record(call, systemFigures(board_));
    case Treatment::kSystemName:
      return record(call, systemName(board_));
    case Treatment::kNetwork:
      return network();
    case Treatment::kNetlink:
      return netlinkShowsMachine(static_cast<int>(call.other())) ? network() : theMachines();
  }
  return failure(ENOSYS);
}

// False: `failed` is the answer, which is the machine's where the call means nothing that has a path.
bool Supervisor::pathOf(const Call& call, bool follows, Places::Place& place, Answer& failed) const {
  failed = theMachines();
  const std::uint64_t address = call.argument(call.shape.path);
  if (address == 0) return false;  // for the descriptor itself, where a call allows it
  const std::optional<std::string> path = call.caller.text(address);
  if (!path || path->size() >= PATH_MAX) {
    failed = failure(path ? ENAMETOOLONG : EFAULT);
    return false;
  }
  const bool isOfDescriptor =
      call.shape.treatment == Treatment::kStatus || call.shape.treatment == Treatment::kStatx;
  if (path->empty() && (!isOfDescriptor || call.shape.folder == kNoFolder)) return false;  // an error
  place = places_.find(call.caller, call.folder(), *path, follows);
  return place.opening.mine;
}

// -- opening

Supervisor::Answer Supervisor::open(const Call& call, int flags, bool isRooted) {
  Places::Place place;
  if (isRooted) {
    // Below the folder whatever the path begins with.
    const std::optional<std::string> path = call.caller.text(call.argument(call.shape.path));
    if (!path) return failure(EFAULT);
    place = places_.find(call.caller, call.folder(), "./" + *path, true);
    return place.opening.mine ? openNode(place, flags) : theMachines();
  }
  Answer failed;
  if (!pathOf(call, (flags & O_NOFOLLOW) == 0, place, failed)) return failed;
  return openNode(place, flags);
}

Supervisor::Answer Supervisor::openAsAsked(const Call& call) {
  open_how how{};
  const std::uint64_t size = call.argument(call.shape.other + 1);
  if (size < sizeof how) return theMachines();  // an error
  if (!call.caller.read(call.other(), &how, sizeof how)) return failure(EFAULT);
  return open(call, static_cast<int>(how.flags), (how.resolve & RESOLVE_IN_ROOT) != 0);
}

Supervisor::Answer Supervisor::openNode(const Places::Place& place, int flags) {
  const Board::Opening& opening = place.opening;
  const bool writes = (flags & O_ACCMODE) != O_RDONLY;
  if (opening.error != 0) return failure(opening.error);
  if ((flags & O_EXCL) != 0 && (flags & O_CREAT) != 0) return failure(EEXIST);
  Answer opened;
  opened.closesOnExec = (flags & O_CLOEXEC) != 0;
  if (opening.isFolder) {
    if (writes) return failure(EISDIR);
    opened.file = skeleton_.open(opening.path, flags);
    return opened.file.get() >= 0 ? std::move(opened) : failure(EMFILE);
  }
  if ((flags & O_DIRECTORY) != 0) return failure(ENOTDIR);
  if (opening.node.ioctl) {
    warnOnce(warnedOfDevice_, "devices of the board are for dynamically linked programs: refused");
    return failure(ENXIO);
  }
  opened.file = Descriptor{::memfd_create(Places::nameOfText(opening.path).c_str(), MFD_CLOEXEC)};
  if (opened.file.get() < 0 || !writeWhole(opened.file.get(), renderedText(opening.node)))
    return failure(EIO);
  // Another opening, at its start and with the program's own mode. What is written is lost.
  opened.file = Descriptor{::open(ownLink(opened.file.get()).c_str(), (flags & O_ACCMODE) | O_CLOEXEC)};
  return opened.file.get() >= 0 ? std::move(opened) : failure(EMFILE);
}

// -- status

Supervisor::Answer Supervisor::status(const Call& call) {
  const bool isExtended = call.shape.treatment == Treatment::kStatx;
  const bool isAt = call.shape.folder != kNoFolder;
  const int flags = !isAt ? 0 : call.number(isExtended ? call.shape.other - 2 : call.shape.other + 1);
  const bool follows = call.shape.treatment != Treatment::kStatusOfLink && (flags & AT_SYMLINK_NOFOLLOW) == 0;
  Places::Place place;
  Answer failed;
  if (!pathOf(call, follows, place, failed)) return failed;
  // A file that cannot be opened is there all the same; one that is not there is not.
  if (place.opening.error == ENOENT) return failure(ENOENT);
  if (follows && place.opening.node.isLink) return failure(EACCES);
  const struct stat status = statusOf(board_, place.opening.path, place.opening.node);
  return isExtended ? record(call, extended(status)) : record(call, status);
}

Supervisor::Answer Supervisor::statusOfFile(const Call& call) {
  const std::optional<std::string> path = places_.openedPath(call.caller, call.folder());
  if (!path) return theMachines();
  const Board::Opening opening = board_.look(*path);
  return opening.mine ? record(call, statusOf(board_, opening.path, opening.node)) : theMachines();
}

Supervisor::Answer Supervisor::test(const Call& call) {
  Places::Place place;
  Answer failed;
  if (!pathOf(call, true, place, failed)) return failed;
  const Board::Opening& opening = place.opening;
  if (opening.error != 0) return failure(opening.error);
  const int mode = static_cast<int>(call.other());
  const bool writes = (mode & W_OK) != 0 && !opening.node.ioctl;
  const bool executes = (mode & X_OK) != 0 && !opening.isFolder;
  return writes || executes ? failure(EACCES) : result(0);
}

Supervisor::Answer Supervisor::readLink(const Call& call) {
  Places::Place place;
  Answer failed;
  if (pathOf(call, false, place, failed)) return failure(linkError(place.opening));
  if (!failed.isTheMachines) return failed;
  // What the program has open, and where it works, may be on the board.
  const std::optional<std::string> own = places_.ownEntry(call.caller, place.path);
  const std::optional<std::string> target = own ? places_.boardPath(call.caller.link(*own)) : std::nullopt;
  if (!target) return theMachines();
  const std::uint64_t space = call.argument(call.shape.other + 1);
  const std::size_t length = std::min<std::size_t>(target->size(), space);
  if (length == 0) return failure(EINVAL);
  return call.caller.write(call.other(), target->data(), length) ? result(static_cast<std::int64_t>(length))
                                                                 : failure(EFAULT);
}

Supervisor::Answer Supervisor::fileSystem(const Call& call) {
  Places::Place place;
  Answer failed;
  if (!pathOf(call, true, place, failed)) return failed;
  if (place.opening.error == ENOENT) return failure(ENOENT);
  struct statfs machine {};
  const int error = fileSystemOf(place.opening.path, machine);
  return error == 0 ? record(call, machine) : failure(error);
}

// -- what a board does not allow

Supervisor::Answer Supervisor::refuse(const Call& call, int error) {
  Places::Place place;
  Answer failed;
  if (!pathOf(call, false, place, failed)) return failed;
  return failure(place.opening.error == ENOENT ? ENOENT : error);
}

Supervisor::Answer Supervisor::enter(const Call& call) {
  Places::Place place;
  Answer failed;
  if (!pathOf(call, true, place, failed)) return failed;
  if (place.opening.error != 0) return failure(place.opening.error);
  if (!place.opening.isFolder) return failure(ENOTDIR);
  // Nobody else can change a program's working folder: it becomes the machine's of the same name, from which
  // all paths are looked at as the board's. Where the machine has none there is no way, other than to open it
  // and call fchdir.
  struct stat machine {};
  if (::stat(place.opening.path.c_str(), &machine) == 0 && S_ISDIR(machine.st_mode)) return theMachines();
  warnOnce(warnedOfFolder_, "a folder that only the board has is entered by fchdir alone: refused");
  return failure(EACCES);
}

Supervisor::Answer Supervisor::execute(const Call& call) {
  Places::Place place;
  Answer failed;
  if (pathOf(call, true, place, failed))
    return failure(place.opening.error != 0 ? place.opening.error : EACCES);
  if (!failed.isTheMachines || place.path.empty()) return failed;
  const std::optional<Program> program = lookAtProgram(place.path);
  if (!program || program->linking != Linking::kOtherArchitecture) return failed;
  std::fprintf(stderr, "tessary-board: %s is for another architecture: refused\n", place.path.c_str());
  return failure(EACCES);
}

Supervisor::Answer Supervisor::workingFolder(const Call& call) {
  const std::optional<std::string> path = places_.openedPath(call.caller, AT_FDCWD);
  if (!path) return theMachines();
  const std::size_t length = path->size() + 1;
  if (call.argument(1) < length) return failure(ERANGE);
  return call.caller.write(call.other(), path->c_str(), length) ? result(static_cast<std::int64_t>(length))
                                                                : failure(EFAULT);
}

// -- reading

// A node that is kept open is rendered again when reading goes back to its start, as the kernel does it: the
// program's file gets the present text, and then the program's own call goes on with it.
Supervisor::Answer Supervisor::readAgain(const Call& call) {
  const std::optional<std::string> path = places_.openedPath(call.caller, call.folder());
  if (!path) return theMachines();
  const Board::Opening opening = board_.look(*path);
  if (opening.isFolder) skeleton_.open(opening.path, O_PATH);  // it is listed again
  if (opening.isFolder) return theMachines();
  if (opening.error == ENOENT) return failure(ESRCH);  // as of a process that has ended
  if (opening.node.readError != 0) return failure(opening.node.readError);
  if (call.shape.treatment != Treatment::kReread) return theMachines();
  const std::string link = call.caller.linkPath("fd/" + std::to_string(call.folder()));
  const Descriptor file{::open(link.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC)};
  return file.get() >= 0 && writeWhole(file.get(), renderedText(opening.node)) ? theMachines() : failure(EIO);
}

// -- processes

// One that was started from here on: the simulator is the parent of all whose own has ended.
bool Supervisor::isOwnProcess(const Caller& caller, int process) const {
  if (process == caller.thread()) return true;
  for (pid_t ancestor = parentOf(process); ancestor > 1; ancestor = parentOf(ancestor)) {
    if (ancestor == ::getpid()) return true;
  }
  return false;
}

// The program's own group was made by whoever started it. Another one's first process may have ended before
// the others.
bool Supervisor::isOwnGroup(const Caller& caller, int group) const {
  if (::getpgid(caller.thread()) == group || isOwnProcess(caller, group)) return true;
  if (::kill(group, 0) == 0) return false;
  for (const auto& entry : std::filesystem::directory_iterator{"/proc"}) {
    const int process = std::atoi(entry.path().filename().c_str());
    if (process > 1 && ::getpgid(process) == group && isOwnProcess(caller, process)) return true;
  }
  return false;
}

// To the program the machine's other processes are those of the board: of another user, or not there.
Supervisor::Answer Supervisor::aboutOthers(int process) const {
  const Board::Opening opening = board_.look("/proc/" + std::to_string(process));
  return failure(opening.mine && opening.error != ENOENT ? EPERM : ESRCH);
}

Supervisor::Answer Supervisor::aboutProcess(const Call& call) const {
  const int process = call.number(call.shape.path);
  return process <= 0 || isOwnProcess(call.caller, process) ? theMachines() : aboutOthers(process);
}

Supervisor::Answer Supervisor::signal(const Call& call) const {
  const int process = call.number(call.shape.path);
  if (process >= 0) return aboutProcess(call);
  if (process == -1) return failure(EPERM);
  return isOwnGroup(call.caller, -process) ? theMachines() : aboutOthers(-process);
}

Supervisor::Answer Supervisor::affinity(const Call& call) {
  Answer process = aboutProcess(call);
  const auto processors = onlineProcessors(board_);
  if (!process.isTheMachines) return process;
  if (!processors) return theMachines();
  const std::size_t bytes = processors->size() * sizeof processors->front();
  const std::uint64_t space = call.argument(call.shape.other - 1);
  if (space < bytes || space % sizeof processors->front() != 0) return failure(EINVAL);
  return call.caller.write(call.other(), processors->data(), bytes) ? result(static_cast<std::int64_t>(bytes))
                                                                    : failure(EFAULT);
}

Supervisor::Answer Supervisor::network() {
  warnOnce(warnedOfNetwork_,
           "the network's configuration would be the machine's: refused; --machine-network allows it");
  return failure(EPERM);
}

void Supervisor::warnOnce(bool& warned, const char* text) const {
  if (!std::exchange(warned, true)) std::fprintf(stderr, "tessary-board: %s\n", text);
}

}  // namespace simulator
