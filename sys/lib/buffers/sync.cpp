// The buffers that write their text in one piece, and the streams over them.
#include <nalo/syncstream>

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <utility>

namespace nalo {

namespace {

// Exclusive use of a buffer among all syncbufs, for the life of the object. A
// buffer has no room for a lock, so the buffers in use are listed in a table
// that is indexed by a hash of their addresses. Users of different buffers in
// one list do not wait for one another, so a buffer may emit into another
// syncbuf while it is in use.
class only_use {
 public:
  explicit only_use(const void* buffer)
      : buffer_(buffer), place_(place_of(buffer)) {
    while (!enter_()) place_.departures.wait(seen_);
  }
  ~only_use() {
    {
      const std::lock_guard lock(place_.mutex);
      only_use** link = &place_.users;
      while (*link != this) link = &(*link)->next_;
      *link = next_;
      ++place_.departures;
    }
    place_.departures.notify_all();
  }
  only_use(const only_use&) = delete;
  only_use& operator=(const only_use&) = delete;

 private:
  struct place {
    std::mutex mutex;
    only_use* users = nullptr;
    std::atomic<int> departures = 0;
  };
  static constexpr size_t count_ = 64;
  // Never destroyed, because destructors of static objects may use streams.
  union places {
    consteval places() : all() {}
    ~places() {}  // uncovered: runs after the profile is written.
    place all[count_];
  };
  static places places_;

  static place& place_of(const void* buffer) noexcept {
    return places_.all[reinterpret_cast<std::uintptr_t>(buffer) / 64 % count_];
  }

  // Returns false when the buffer is in use by another. When that use ends,
  // departures differs from the value seen here.
  bool enter_() {
    const std::lock_guard lock(place_.mutex);
    for (only_use* user = place_.users; user; user = user->next_) {
      if (user->buffer_ == buffer_) {
        seen_ = place_.departures;
        return false;
      }
    }
    next_ = std::exchange(place_.users, this);
    return true;
  }

  const void* const buffer_;
  place& place_;
  only_use* next_ = nullptr;
  int seen_ = 0;
};

constinit only_use::places only_use::places_;

constexpr size_t first_size = 256;

}  // namespace

template <class Char, class Traits>
basic_syncbuf<Char, Traits>::basic_syncbuf(streambuf_type* wrapped) noexcept
    : wrapped_(wrapped) {}

template <class Char, class Traits>
basic_syncbuf<Char, Traits>::basic_syncbuf(basic_syncbuf&& other) noexcept
    : basic_syncbuf() {
  swap(other);
}

template <class Char, class Traits>
basic_syncbuf<Char, Traits>& basic_syncbuf<Char, Traits>::operator=(
    basic_syncbuf&& other) noexcept {
  basic_syncbuf(std::move(other)).swap(*this);
  return *this;
}

template <class Char, class Traits>
void basic_syncbuf<Char, Traits>::swap(basic_syncbuf& other) noexcept {
  streambuf_type::swap(other);
  std::swap(wrapped_, other.wrapped_);
  std::swap(emits_on_sync_, other.emits_on_sync_);
  std::swap(syncs_, other.syncs_);
  std::swap(text_, other.text_);
}

// Disables cancellation: the wrapped buffer may call a cancellation point, and
// nothing may unwind out of a destructor.
template <class Char, class Traits>
basic_syncbuf<Char, Traits>::~basic_syncbuf() {
  int cancelable;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelable);
  try {
    emit();
  } catch (...) {
  }
  pthread_setcancelstate(cancelable, nullptr);
}

template <class Char, class Traits>
bool basic_syncbuf<Char, Traits>::emit() {
  if (!wrapped_) return false;
  const Char* const text = this->pbase();
  const streamsize size = this->pptr() - text;
  const bool syncs = std::exchange(syncs_, false);
  this->setp(this->pbase(), this->epptr());
  if (size == 0 && !syncs) return true;
  const only_use use(wrapped_);
  const bool taken = wrapped_->sputn(text, size) == size;
  return (!syncs || wrapped_->pubsync() != -1) && taken;
}

template <class Char, class Traits>
auto basic_syncbuf<Char, Traits>::overflow(int_type ch) -> int_type {
  const auto size = static_cast<size_t>(this->epptr() - this->pbase());
  const size_t more = std::max(2 * size, first_size);
  auto text = std::make_unique_for_overwrite<Char[]>(more);
  Traits::copy(text.get(), this->pbase(), size);
  text_ = std::move(text);
  this->setp(text_.get(), text_.get() + more);
  this->pbump(static_cast<long>(size));
  if (Traits::eq_int_type(ch, Traits::eof())) return Traits::not_eof(ch);
  return this->sputc(Traits::to_char_type(ch));
}

template <class Char, class Traits>
int basic_syncbuf<Char, Traits>::sync() {
  syncs_ = true;
  return !emits_on_sync_ || emit() ? 0 : -1;
}

template class basic_syncbuf<char>;
template class basic_syncbuf<wchar_t>;
template class owning_stream<ostream, syncbuf>;
template class owning_stream<wostream, wsyncbuf>;

}  // namespace nalo
