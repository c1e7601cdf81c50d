// The words, the locale and the errors of streams.
#include <nalo/ios>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <limits>
#include <new>

namespace nalo {

namespace {

// Wide enough never to wrap around to an index in use.
std::atomic<std::int64_t> next_word_index{0};
std::atomic<bool> synced_with_stdio{true};

int at_most_int(std::int64_t n) {
  return static_cast<int>(
      std::min(n, std::int64_t{std::numeric_limits<int>::max()}));
}

}  // namespace

ios_base::~ios_base() { deallocate_words_(); }

locale ios_base::imbue(const locale& new_locale) noexcept {
  locale old(ios_locale_);
  ios_locale_ = new_locale;
  return old;
}

ios_base::PIWords* ios_base::allocate_words_(int count) noexcept {
  if (count < 0) return nullptr;
  return new (std::nothrow) PIWords[static_cast<size_t>(count)];
}

void ios_base::deallocate_words_(PIWords* words) noexcept { delete[] words; }

ios_base::PIWords& ios_base::grow_words_(int index, bool iword_wanted) {
  if (0 <= index && index < word_size_) return word_[index];
  if (0 <= index && index < local_words_) {
    std::fill(word_ + word_size_, word_ + local_words_, PIWords());
    word_size_ = local_words_;
    return word_[index];
  }
  if (0 <= index && index < std::numeric_limits<int>::max()) {
    const std::int64_t size = word_size_;
    const int new_size =
        at_most_int(std::max(index + std::int64_t{1}, size + size / 2));
    if (PIWords* grown = allocate_words_(new_size)) {
      std::copy_n(word_, word_size_, grown);
      deallocate_words_();
      word_ = grown;
      word_size_ = new_size;
      return word_[index];
    }
  }
  if (iword_wanted) {
    word_zero_.iword_ = 0;
  } else {
    word_zero_.pword_ = nullptr;
  }
  buf_state_ |= badbit;
  if ((buf_state_ & exception_) != goodbit) impl::throwNoWords();
  return word_zero_;
}

int ios_base::xalloc() noexcept {
  return at_most_int(next_word_index.fetch_add(1, std::memory_order_relaxed));
}

ptrdiff_t& ios_base::iword(int index) {
  return grow_words_(index, true).iword_;
}

void*& ios_base::pword(int index) { return grow_words_(index, false).pword_; }

bool ios_base::sync_with_stdio(bool synced) noexcept {
  return synced_with_stdio.exchange(synced);
}

void ios_base::throwIOSFailure(const char* file, int line,
                               const char* message) {
  tThrow(failure(file, line, message));
}

void ios_base::throwNullFacetPointer(const char* file, int line) {
  tThrow(null_facet_error(file, line));
}

ios_base::failure::~failure() = default;
void ios_base::failure::throw_self() { throw failure(*this); }

null_facet_error::null_facet_error(const char* file, int line)
    : exception(file, line, "nalo::ios_base the locale lacks a facet") {}
null_facet_error::~null_facet_error() = default;
void null_facet_error::throw_self() { throw null_facet_error(*this); }

}  // namespace nalo
