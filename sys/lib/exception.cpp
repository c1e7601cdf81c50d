// The bodies of the error classes and the record that each thread keeps.
#include <nalo/exception>

#include <pthread.h>

#include <atomic>
#include <cstdio>
#include <optional>

namespace nalo {

namespace {

void write_to_stderr(const exception& exc) noexcept {
  std::fprintf(stderr, "%s:%d: %s\n", exc.file(), exc.line(), exc.what());
}

std::atomic<exception::dump_handler> current_dump_handler{write_to_stderr};

// Errors may still be raised when the record is gone, by the destructors of
// static objects.
thread_local constinit bool record_is_gone = false;

// Empty until the first error, so that a thread's first registration need not
// allocate.
struct thread_record {
  std::optional<exception> last;
  unsigned long count = 0;
  ~thread_record() { record_is_gone = true; }
};

thread_local thread_record this_thread;

const char* or_empty(const char* text) { return text ? text : ""; }

}  // namespace

exception::exception(const char* file, int line, const char* message)
    : file_(or_empty(file)), line_(line), message_(or_empty(message)) {}

exception::exception(const exception&) noexcept = default;
exception& exception::operator=(const exception&) noexcept = default;
exception::~exception() = default;

const char* exception::what() const noexcept { return message_.what(); }

void exception::register_on_thread() const noexcept {
  if (record_is_gone) return;
  this_thread.last = *this;
  ++this_thread.count;
}

// Writing is a cancellation point, and nothing may unwind through here.
void exception::dump() const noexcept {
  int cancelable;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelable);
  if (dump_handler handler = current_dump_handler.load()) handler(*this);
  pthread_setcancelstate(cancelable, nullptr);
}

void exception::throw_self() { throw exception(*this); }

exception::record exception::last_on_thread() {
  if (record_is_gone) return {"", 0, "", 0};
  const auto& [last, count] = this_thread;
  if (!last) return {"", 0, "", 0};
  return {last->file(), last->line(), last->what(), count};
}

exception::dump_handler exception::set_dump_handler(
    dump_handler handler) noexcept {
  return current_dump_handler.exchange(handler);
}

overflow_error::~overflow_error() = default;
void overflow_error::throw_self() { throw overflow_error(*this); }

underflow_error::~underflow_error() = default;
void underflow_error::throw_self() { throw underflow_error(*this); }

rvalue_error::~rvalue_error() = default;
void rvalue_error::throw_self() { throw rvalue_error(*this); }

namespace impl {

void throw_check_base::throw_returned() {
  if (record_is_gone) throw exception("sys/src/nalo/exception", __LINE__, "");
  throw exception(*this_thread.last);
}

}  // namespace impl

template NALO_API void tThrow(const overflow_error&);
template NALO_API void tThrow(const underflow_error&);
template NALO_API void tThrow(const rvalue_error&);

}  // namespace nalo
