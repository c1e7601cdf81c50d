// The source of the choices of a test: a generator with a fixed seed, the input
// of a fuzzer, which learns where each choice leads, or an enumeration of all
// sequences of choices. Part of common.h.
#pragma once

namespace nalo_test {

class choices {
 public:
  explicit choices(std::uint64_t seed) : counts_(false), random_(seed) {}
  // Takes choices from bytes, followed by zeros.
  explicit choices(std::span<const std::uint8_t> bytes)
      : counts_(false), bytes_(bytes) {}

  // Enumerates all sequences, the first of which takes each first value.
  choices() = default;

  // Begins the next sequence: the last choice that has another value takes it,
  // and those after it start again. Returns false after the last sequence.
  bool next() {
    at_ = 0;
    while (!made_.empty() && made_.back().value + 1 == made_.back().values) {
      made_.pop_back();
    }
    if (made_.empty()) return false;
    ++made_.back().value;
    return true;
  }

  // Whether another operation can be chosen, which is then counted.
  bool more() {
    const bool is_more = random_ || !bytes_.empty();
    operations_ += is_more;
    return is_more;
  }
  size_t operations() const { return operations_; }

  std::uint64_t bits(size_t bytes = 8) {
    if (random_) return (*random_)();
    std::uint64_t value = 0;
    for (; bytes != 0 && !bytes_.empty(); --bytes) {
      value = value << 8 | bytes_.front();
      bytes_ = bytes_.subspan(1);
    }
    return value;
  }
  size_t below(size_t n) {
    if (!counts_) return bits(n <= 256 ? 1 : n <= 65536 ? 2 : 8) % n;
    if (at_ == made_.size()) made_.push_back({0, n});
    return made_[at_++].value;
  }
  template <class T>
  T one_of(std::initializer_list<T> values) {
    return values.begin()[below(values.size())];
  }
  template <class Char>
  std::basic_string<Char> text(size_t length,
                               std::basic_string_view<Char> alphabet) {
    std::basic_string<Char> chosen(length, Char());
    for (Char& ch : chosen) ch = alphabet[below(alphabet.size())];
    return chosen;
  }

 private:
  struct choice {
    size_t value, values;
  };

  const bool counts_ = true;
  std::vector<choice> made_;
  size_t at_ = 0;
  std::optional<std::mt19937_64> random_;
  std::span<const std::uint8_t> bytes_;
  size_t operations_ = 0;
};

}  // namespace nalo_test
