// The buffer of the wide file streams.
#include <nalo/buffers/file>

namespace nalo {

wfilebuf::~basic_filebuf() = default;

wfilebuf* wfilebuf::open(const impl::file_path& path, ios_base::openmode mode) {
  return bytes()->open(path, mode) ? this : nullptr;
}

wfilebuf* wfilebuf::close() {
  forget_();
  return bytes()->close() ? this : nullptr;
}

void wfilebuf::open_(const impl::file_path& path, ios_base::openmode mode) {
  bytes()->open_(path, mode);
}

void wfilebuf::close_() {
  forget_();
  bytes()->close_();
}

}  // namespace nalo
