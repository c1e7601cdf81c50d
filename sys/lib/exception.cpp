// The error classes, and the record of each thread's last error.
#include <nalo/exception>

#include <pthread.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace nalo {

namespace {

void write_to_stderr(const exception& exc) noexcept {
  std::fprintf(stderr, "%s:%d: %s\n", exc.file(), exc.line(), exc.what());
}

std::atomic<exception::dump_handler> current_dump_handler{write_to_stderr};

// Plain data, because errors may be raised by destructors of static objects and
// of thread-specific data, when anything with a destructor may already be gone
// or would never be destroyed.
constinit thread_local exception::record this_thread{"", 0, "", 0};
constinit thread_local bool is_dumping = false;

const char* or_empty(const char* text) { return text ? text : ""; }

// Copies as much of a text as fits.
template <size_t size>
void copy_text(char (&to)[size], const char* text) noexcept {
  const size_t length = strnlen(text, size - 1);
  std::memcpy(to, text, length);
  to[length] = '\0';
}

}  // namespace

// --- messages ----------------------------------------------------------------

namespace impl {

// Followed by the text in the same block.
struct error_text::shared_text {
  std::atomic<long> refs{1};

  char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
};

error_text::error_text(const char* text) noexcept : shared_(nullptr) {
  const size_t size = std::strlen(text) + 1;
  if (size > short_size) {
    void* block = ::operator new(sizeof(shared_text) + size, std::nothrow);
    if (block) {
      shared_ = new (block) shared_text;
      std::memcpy(shared_->text(), text, size);
    }
  }
  copy_text(short_, text);
}

error_text::error_text(const error_text& other) noexcept
    : shared_(other.shared_) {
  if (shared_) shared_->refs.fetch_add(1, std::memory_order_relaxed);
  copy_text(short_, other.short_);
}

error_text& error_text::operator=(const error_text& other) noexcept {
  error_text copy(other);
  std::swap(shared_, copy.shared_);
  copy_text(short_, copy.short_);
  return *this;
}

error_text::~error_text() {
  if (shared_ && shared_->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    ::operator delete(shared_);
  }
}

const char* error_text::c_str() const noexcept {
  return shared_ ? shared_->text() : short_;
}

}  // namespace impl

// --- errors ------------------------------------------------------------------

exception::exception(const char* file, int line, const char* message) noexcept
    : file_(or_empty(file)), line_(line), message_(or_empty(message)) {}

exception::exception(const exception&) noexcept = default;
exception& exception::operator=(const exception&) noexcept = default;
exception::~exception() = default;

const char* exception::what() const noexcept { return message_.c_str(); }

void exception::register_on_thread() const noexcept {
  this_thread.file = file_;
  this_thread.line = line_;
  copy_text(this_thread.message, what());
  ++this_thread.count;
}

// Disables cancellation: writing is a cancellation point, and nothing may
// unwind out of here.
void exception::dump() const noexcept {
  const dump_handler handler = current_dump_handler.load();
  if (!handler || is_dumping) return;
  int cancelable;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelable);
  is_dumping = true;
  handler(*this);
  is_dumping = false;
  pthread_setcancelstate(cancelable, nullptr);
}

void exception::throw_self() { throw exception(*this); }

exception::record exception::last_on_thread() noexcept { return this_thread; }

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

void throw_check_base::throw_returned(const exception* raised) {
  if (raised) throw exception(*raised);
  const auto& [file, line, message, count] = this_thread;
  throw exception(file, line, count > 0 ? message : "nothing was raised");
}

}  // namespace impl

template NALO_API void tThrow(const overflow_error&);
template NALO_API void tThrow(const underflow_error&);
template NALO_API void tThrow(const rvalue_error&);

}  // namespace nalo
