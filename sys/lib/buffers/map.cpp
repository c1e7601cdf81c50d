// The buffer over a memory-mapped file.
#include <nalo/buffers/map>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace nalo {

namespace {

// Raises the error for a file; path is null for a descriptor.
[[noreturn]] void raise(int line, const char* path, int code) {
  std::string action = "cannot map ";
  action += path ? '"' + std::string(path) + '"' : "a descriptor";
  tThrow(fd_input_error("sys/lib/buffers/map.cpp", line, action.c_str(), code));
}

}  // namespace

mapbuf::mapbuf(const char* path) : mapbuf(fdbuf(path).fd(), path) {}
mapbuf::mapbuf(int fd) : mapbuf(fd, nullptr) {}

mapbuf::mapbuf(int fd, const char* path) : base(ios_base::in) {
  struct stat status = {};
  if (::fstat(fd, &status) == -1) raise(__LINE__, path, errno);
  // Only regular files can be mapped. Those of /proc report a size of 0 but are
  // not empty, so they are refused.
  char first;
  if (!S_ISREG(status.st_mode) ||
      (status.st_size == 0 && ::pread(fd, &first, 1, 0) == 1)) {
    raise(__LINE__, path, ENODEV);
  }
  if (status.st_size == 0) return;
  const auto size = static_cast<size_t>(status.st_size);
  void* const text = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
  if (text == MAP_FAILED) raise(__LINE__, path, errno);
  begin_with_(static_cast<char*>(text), size, size);
}

mapbuf::~mapbuf() {
  const auto text = whole_array_();
  if (!text.empty()) ::munmap(text.data(), text.size());
}

}  // namespace nalo
