// The buffer of the file streams.
#include <nalo/buffers/file>

#include <fcntl.h>

#include <cerrno>

namespace nalo {

namespace {

constexpr const char* source_file = "sys/lib/buffers/file.cpp";

// Runs an operation and returns the buffer, or null when it raises.
template <class Operation>
filebuf* self_or_null(filebuf* buffer, Operation operation) {
  try {
    operation();
    return buffer;
  } catch (const fd_error&) {
    return nullptr;
  }
}

}  // namespace

filebuf::~basic_filebuf() = default;

filebuf* filebuf::open(const impl::file_path& path, ios_base::openmode mode) {
  return self_or_null(this, [&] { open_(path, mode); });
}

filebuf* filebuf::close() {
  return self_or_null(this, [&] { close_(); });
}

void filebuf::open_(const impl::file_path& path, ios_base::openmode mode) {
  fdbuf::open_(path.c_str(), mode);
}

void filebuf::close_() {
  if (!is_open()) {
    tThrow(fd_output_error(source_file, __LINE__, "cannot close", EBADF));
  }
  try {
    fdbuf::close();
  } catch (const fd_error&) {
    const fdbuf closed(std::move(*this));  // by its destructor
    throw;
  }
}

bool filebuf::reads_() const noexcept {
  return is_open() && (eback() || allows_(O_RDONLY));
}
bool filebuf::writes_() const noexcept {
  return is_open() && (pbase() || allows_(O_WRONLY));
}

filebuf::int_type filebuf::underflow() {
  return reads_() ? fdbuf::underflow() : traits_type::eof();
}

streamsize filebuf::xsgetn(char* strng, streamsize sz) {
  return reads_() ? fdbuf::xsgetn(strng, sz) : 0;
}

filebuf::int_type filebuf::overflow(int_type ch) {
  return writes_() ? fdbuf::overflow(ch) : traits_type::eof();
}

streamsize filebuf::xsputn(const char* strng, streamsize sz) {
  return writes_() ? fdbuf::xsputn(strng, sz) : 0;
}

}  // namespace nalo
