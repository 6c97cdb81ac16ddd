#include "simulator/board/program.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "simulator/board/descriptor.h"

namespace simulator {

namespace {

constexpr int kMostInterpreters = 4;           // the kernel's limit for scripts of scripts
constexpr std::size_t kMostHeaders = 4096;     // of a file that may be rubbish
constexpr std::size_t kLongestName = 1 << 20;  // the names of all sections together

#if defined(__x86_64__)
constexpr unsigned kMachine = EM_X86_64;
#elif defined(__aarch64__)
constexpr unsigned kMachine = EM_AARCH64;
#endif

class ElfFile {
 public:
  explicit ElfFile(int file) : file_{file} {}

  bool readHeader() {
    return read(0, &header_, sizeof header_) && std::memcmp(header_.e_ident, ELFMAG, SELFMAG) == 0;
  }

  bool isForThisMachine() const {
    return header_.e_ident[EI_CLASS] == ELFCLASS64 && header_.e_ident[EI_DATA] == ELFDATA2LSB &&
           header_.e_machine == kMachine;
  }

  // The dynamic linker that it asks for; empty for a static one.
  std::string interpreter() const {
    for (const Elf64_Phdr& segment : table<Elf64_Phdr>(header_.e_phoff, header_.e_phnum)) {
      if (segment.p_type == PT_INTERP) return text(segment.p_offset, segment.p_filesz);
    }
    return {};
  }

  // By the sections that the Go linker always writes; a stripped program keeps them.
  bool isGo() const {
    const auto sections = table<Elf64_Shdr>(header_.e_shoff, header_.e_shnum);
    if (header_.e_shstrndx >= sections.size()) return false;
    const Elf64_Shdr& namesSection = sections[header_.e_shstrndx];
    const std::string names = text(namesSection.sh_offset, namesSection.sh_size);
    for (const Elf64_Shdr& section : sections) {
      if (section.sh_name >= names.size()) continue;
      const std::string_view name{names.c_str() + section.sh_name};
      if (name == ".go.buildinfo" || name == ".note.go.buildid") return true;
    }
    return false;
  }

 private:
  bool read(Elf64_Off at, void* target, std::size_t bytes) const {
    return ::pread(file_, target, bytes, static_cast<off_t>(at)) == static_cast<ssize_t>(bytes);
  }

  template <typename Header>
  std::vector<Header> table(Elf64_Off at, std::size_t count) const {
    std::vector<Header> headers(count < kMostHeaders ? count : 0);
    if (!read(at, headers.data(), headers.size() * sizeof(Header))) headers.clear();
    return headers;
  }

  std::string text(Elf64_Off at, Elf64_Xword bytes) const {
    std::string text(bytes < kLongestName ? bytes : 0, '\0');
    if (!read(at, text.data(), text.size())) text.clear();
    return text;
  }

  int file_;
  Elf64_Ehdr header_{};
};

// The dynamic linker of this very command, and so of what it preloads.
std::string ownInterpreter() {
  const Descriptor file{::open("/proc/self/exe", O_RDONLY | O_CLOEXEC)};
  ElfFile elf{file.get()};
  return elf.readHeader() ? elf.interpreter() : std::string{};
}

Linking linkingOf(const ElfFile& elf) {
  if (!elf.isForThisMachine()) return Linking::kOtherArchitecture;
  if (elf.isGo()) return Linking::kGo;
  const std::string interpreter = elf.interpreter();
  if (interpreter.empty()) return Linking::kStatic;
  return interpreter == ownInterpreter() ? Linking::kDynamic : Linking::kOtherCLibrary;
}

bool gainsPrivileges(const std::string& path, int file) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return false;
  if ((status.st_mode & S_ISUID) != 0 && status.st_uid != ::geteuid()) return true;
  if ((status.st_mode & S_ISGID) != 0 && status.st_gid != ::getegid()) return true;
  return ::geteuid() != 0 && ::getxattr(path.c_str(), "security.capability", nullptr, 0) > 0;
}

// #!/usr/bin/env python3
std::string scriptInterpreter(int file) {
  constexpr std::size_t kLine = 256;  // what the kernel looks at
  char line[kLine + 1] = {};
  if (::pread(file, line, kLine, 0) < 2 || line[0] != '#' || line[1] != '!') return {};
  const char* const name = line + 2 + std::strspn(line + 2, " \t");
  return {name, std::strcspn(name, " \t\n")};
}

std::optional<Program> look(const std::string& path, int interpreters) {
  const Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
  if (file.get() < 0 || interpreters > kMostInterpreters) return std::nullopt;
  ElfFile elf{file.get()};
  if (elf.readHeader()) return Program{linkingOf(elf), gainsPrivileges(path, file.get())};
  const std::string interpreter = scriptInterpreter(file.get());
  return interpreter.empty() ? std::nullopt : look(interpreter, interpreters + 1);
}

}  // namespace

std::optional<Program> lookAtProgram(const std::string& path) { return look(path, 0); }

std::optional<std::string> findProgram(const std::string& command) {
  const auto isProgram = [](const std::string& path) {
    struct stat status {};
    return ::access(path.c_str(), X_OK) == 0 && ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
  };
  if (command.find('/') != std::string::npos)
    return isProgram(command) ? std::optional{command} : std::nullopt;
  const char* const variable = std::getenv("PATH");
  std::string_view folders = variable != nullptr ? variable : "/bin:/usr/bin";
  while (true) {
    const std::size_t end = folders.find(':');
    std::string path{folders.substr(0, end)};
    if (!path.empty()) path += '/';
    path += command;
    if (isProgram(path)) return path;
    if (end == std::string_view::npos) return std::nullopt;
    folders.remove_prefix(end + 1);
  }
}

}  // namespace simulator
