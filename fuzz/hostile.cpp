// What hostile input may hold and ask for: embedded nulls, the codes 0xFF and
// 0xFFFFFFFF, very long runs, and counts, widths and lengths near the limits.
// The target numbers has the same for numbers.
#include <sys/mman.h>

#include <functional>
#include <limits>

#include "fuzz.h"
#include "istream_model.h"
#include "number_model.h"

namespace {

using nalo::streamsize;
using nalo_test::choices;
using nalo_test::shown;

// Runs of one character each, longer ones in smaller numbers.
template <class Char>
std::basic_string<Char> runs(choices& input) {
  std::basic_string<Char> text;
  for (size_t n = input.below(10); n != 0; --n) {
    const auto ch = input.one_of<Char>({0, Char(0xFF), ' ', '\n', ':', 'a'});
    text.append(input.one_of<size_t>({1, 1, 2, 9, 63, 64, 65, 700}), ch);
  }
  return text;
}

// Any extraction of a text with nulls and long runs, against the model.
template <class Char>
void extract(choices& input) {
  nalo_test::input::comparison<Char> both(input, runs<Char>(input));
  while (input.more()) both.step();
}

// The wide character that reads as eof ends an extraction or not, as the get
// areas fall; what is stored and counted is what was taken all the same.
void extract_wide_eof(choices& input) {
  const auto text =
      input.text<wchar_t>(input.below(40), {L"\xFFFFFFFF\xFFFFFFFF ab\n", 6});
  nalo_test::scripted_streambuf<wchar_t> buf(
      {.input = text, .get_areas = {input.below(6), 1 + input.below(9)}});
  nalo::wistream in(&buf);
  in.setf({}, in.skipws);
  const wchar_t delim = input.one_of({L'\n', wchar_t(-1), L'b'});
  while (input.more()) {
    in.clear();
    const size_t size = input.below(12), before = buf.position();
    const auto n = static_cast<streamsize>(size);
    in.width(n);
    std::vector<wchar_t> array(size + 1);
    nalo::wstring str;
    const std::function<void()> operations[] = {
        [&] { in.get(array.data(), n, delim); },
        [&] { in.getline(array.data(), n, delim); },
        [&] { in.read(array.data(), n); },
        [&] { in.ignore(n + 1, static_cast<unsigned>(delim)); },
        [&] { getline(in, str, delim, size); },
        [&] { in >> str; },
    };
    const size_t op = input.below(std::size(operations));
    operations[op]();
    const std::wstring stored = str.empty() ? array.data() : str.c_str();
    const size_t taken = buf.position() - before;
    const auto counted = static_cast<size_t>(in.gcount());
    EXPECT_EQ(shown<wchar_t>(stored),
              shown<wchar_t>(text.substr(before, stored.size())));
    EXPECT_LE(stored.size(), taken);
    // A line counts the delimiter that ended it. Where that code is taken by
    // itself, it goes uncounted.
    if (op < 3) EXPECT_LE(counted - stored.size(), op == 1 ? 1U : 0U);
    if (op < 4) EXPECT_LE(taken - counted, op > 1 ? 1U : 0U);
  }
}

// A buffer of any number of characters. It shows a window of them over and
// over; behind them comes a code that is no character, or the end.
class vast_streambuf : public nalo::streambuf {
 public:
  static constexpr int code = 0x12345;

  vast_streambuf(std::uint64_t size, bool ends) : left_(size), ends_(ends) {}

 protected:
  int underflow() override {
    // Pages of zeros that take no memory.
    static constexpr std::uint64_t window_size = std::uint64_t{1} << 46;
    static void* const window =
        mmap(nullptr, window_size, PROT_READ,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    const std::uint64_t size = std::min(left_, window_size);
    char* const begin = static_cast<char*>(window);
    setg(begin, begin, begin + size);
    left_ -= size;
    return size != 0 ? 0 : ends_ ? -1 : code;
  }
  int uflow() override {
    const int ch = underflow();
    if (gptr() != egptr()) return sbumpc();
    ends_ = true;
    return ch;
  }

 private:
  std::uint64_t left_;
  bool ends_;
};

// Counts characters up to the largest number and beyond.
void ignore_past_the_limit(choices& input) {
  constexpr std::uint64_t most = std::numeric_limits<streamsize>::max();
  const std::uint64_t size = most - 4 + input.below(9) + (input.below(2) << 60);
  const std::uint64_t n = most - input.below(4);
  const bool ends = input.below(2) == 0, delimited = input.below(2) == 0;
  vast_streambuf buf(size, ends);
  nalo::istream in(&buf);
  in.ignore(static_cast<streamsize>(n), delimited ? vast_streambuf::code : -1);

  // The largest n is no limit. The code counts, and may stand right behind the
  // n-th character when it is the delimiter.
  const std::uint64_t limit = n == most ? ~std::uint64_t{0} : n;
  const std::uint64_t there = size + !ends;
  const bool found = delimited && !ends && size <= limit;
  const std::uint64_t taken = found ? there : std::min(there, limit);
  EXPECT_EQ(in.gcount(), static_cast<streamsize>(std::min(taken, most)));
  EXPECT_EQ(in.eof(), taken == there && !found);
  EXPECT_FALSE(in.fail());
}

// Lengths at which sums wrap around: an error each time, and no change.
template <class Char>
void grow_past_the_limit(choices& input) {
  using string = nalo::basic_string<Char>;
  nalo_test::numbers::small_memory memory;
  nalo::allocator ma(memory);
  string s(ma);
  s.append(input.below(200), Char('a'));
  const string sharer = s;
  const size_t size = s.size();
  const size_t edge =
      input.one_of({string::npos, string::max_size(), string::npos - size,
                    string::max_size() - size, string::npos / 2,
                    string::npos / 2 / 4, string::npos / 4, size_t{1} << 45});
  const size_t n = std::min(edge, string::npos - 4) + input.below(9) - 4;
  const size_t pos = input.below(size + 1), count = input.below(9);
  const Char ch = Char('b');
  const std::function<void()> operations[] = {
      [&] { s.append(n, ch); },
      [&] { s.insert(pos, n, ch); },
      [&] { s.replace(pos, count, n, ch); },
      [&] { s.assign(n, ch); },
      [&] { s.resize(n); },
      [&] { s.reserve(n); },
      [&] { string(n, ch, ma); },
  };
  EXPECT_THROW(operations[input.below(std::size(operations))](),
               nalo::exception);
  EXPECT_EQ(s, string(size, Char('a')));
  EXPECT_EQ(sharer, s);
}

template <class Char>
void run_one(choices& input) {
  if (input.below(1000) == 999) return ignore_past_the_limit(input);  // slow
  switch (input.below(5)) {
    case 0:
      return extract_wide_eof(input);
    case 1: {  // padded to a width near the limits
      const auto text = runs<Char>(input);
      return nalo_test::numbers::compare_writing<Char>(
          input, std::basic_string_view<Char>(text));
    }
    case 2:
      return grow_past_the_limit<Char>(input);
    default:
      return extract<Char>(input);
  }
}

}  // namespace

void run(choices& input) {
  return input.below(2) == 0 ? run_one<char>(input) : run_one<wchar_t>(input);
}
