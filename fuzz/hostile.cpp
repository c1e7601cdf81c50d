// What hostile input may hold and ask for: embedded nulls, the codes 0xFF and
// 0xFFFFFFFF, very long runs and numbers, counts, widths and lengths near the
// limits.
#include <sys/mman.h>

#include <exception>
#include <limits>
#include <span>
#include <stdexcept>
#include <utility>

#include "fuzz.h"
#include "istream_model.h"
#include "number_model.h"

namespace {

using nalo::ios_base;
using nalo::streamsize;
using nalo_test::choices;
using nalo_test::scripted_streambuf;
using nalo_test::shown;
using nalo_test::widened;

constexpr streamsize kMost = std::numeric_limits<streamsize>::max();

// Runs of one character each, longer ones in smaller numbers.
template <class Char>
std::basic_string<Char> runs(choices& input, std::string_view alphabet,
                             std::initializer_list<size_t> lengths) {
  std::basic_string<Char> text;
  for (size_t n = input.below(10); n != 0; --n) {
    const auto ch =
        static_cast<unsigned char>(alphabet[input.below(alphabet.size())]);
    text.append(input.one_of(lengths), static_cast<Char>(ch));
  }
  return text;
}

// Any extraction of a text with nulls and long runs, against the model.
template <class Char>
void extract(choices& input) {
  using namespace std::string_view_literals;
  nalo_test::input::comparison<Char> both(
      input, runs<Char>(input, "\0\xFF \n:a"sv, {1, 1, 2, 9, 63, 64, 65, 700}));
  while (input.more()) both.step();
}

template <class Char>
void read_long_number(choices& input) {
  using namespace nalo_test::numbers;
  auto text = runs<Char>(input, "0001239.-ex_", {1, 1, 2, 20, 770, 5000});
  if (input.below(1000) == 999) {  // slow
    const size_t pos = input.below(text.size() + 1);
    text.insert(pos, 1'000'000,
                input.one_of({Char('0'), Char('5'), Char('_')}));
  }
  auto punct = choose_style(input);
  for_one_type(input, [&]<class T>(T) {
    compare_reading<T>(input, text, punct,
                       {input.one_of<size_t>({7, 64, 4096, 2'000'000})});
  });
}

// A buffer of any number of characters. It shows a window of them over and
// over; behind them comes a code that is no character, or the end.
class vast_streambuf : public nalo::streambuf {
 public:
  static constexpr int code = 0x12345;

  vast_streambuf(std::uint64_t size, bool ends) : left_(size), ends_(ends) {}

 protected:
  int underflow() override {
    const std::uint64_t shown = std::min(left_, window().size());
    if (shown == 0) {
      setg(nullptr, nullptr, nullptr);
      return ends_ ? -1 : code;
    }
    left_ -= shown;
    setg(window().data(), window().data(), window().data() + shown);
    return 0;
  }
  int uflow() override {
    if (underflow() == -1) return -1;
    if (gptr() != nullptr) return sbumpc();
    ends_ = true;
    return code;
  }

 private:
  // Pages of zeros that take no memory.
  static std::span<char> window() {
    static const std::span<char> all = [] {
      constexpr size_t size = size_t{1} << 46;
      void* const at = mmap(nullptr, size, PROT_READ,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
      if (at == MAP_FAILED) throw std::runtime_error("no room for a window");
      return std::span(static_cast<char*>(at), size);
    }();
    return all;
  }

  std::uint64_t left_;
  bool ends_;
};

// Counts characters up to the largest number and beyond.
void ignore_past_the_limit(choices& input) {
  constexpr auto most = static_cast<std::uint64_t>(kMost);
  const std::uint64_t size = most - 4 + input.below(9) + (input.below(2) << 60);
  const streamsize n = kMost - static_cast<streamsize>(input.below(4));
  const bool ends = input.below(2) == 0;
  vast_streambuf buf(size, ends);
  nalo::istream in(&buf);
  const bool delimited = input.below(2) == 0;
  in.ignore(n, delimited ? vast_streambuf::code : -1);

  // The largest n is no limit; without a delimiter the code counts, too.
  const auto limit = n == kMost ? ~std::uint64_t{0} : std::uint64_t(n);
  const std::uint64_t there = size + (!ends && !delimited);
  std::uint64_t taken = std::min(there, limit);
  const bool at_end = taken == there && (ends || !delimited);
  if (!ends && delimited && taken == there) ++taken;
  EXPECT_EQ(in.gcount(), static_cast<streamsize>(std::min(taken, most)))
      << size << " characters, n " << n << (ends ? "" : ", then a code")
      << (delimited ? ", delimited" : "");
  EXPECT_EQ(in.rdstate(), at_end ? ios_base::eofbit : ios_base::goodbit)
      << size << " characters, n " << n << (ends ? "" : ", then a code")
      << (delimited ? ", delimited" : "");
}

// The wide character that reads as eof ends an extraction or not, as the get
// areas fall; what is stored and counted is what was taken all the same.
void extract_wide_eof(choices& input) {
  const auto text =
      input.text<wchar_t>(input.below(40), {L"\xFFFFFFFF\xFFFFFFFF ab\n", 6});
  scripted_streambuf<wchar_t> buf(
      {.input = text, .get_areas = {input.below(6), 1 + input.below(9)}});
  nalo::wistream in(&buf);
  const wchar_t delim = input.one_of({L'\n', wchar_t(-1), L'b'});
  while (input.more()) {
    in.clear();
    const size_t n = input.below(12), before = buf.position();
    std::vector<wchar_t> array(n + 1, L'#');
    nalo::wstring str;
    std::wstring stored;
    size_t counted = 0;
    const size_t op = input.below(6);
    const auto size = static_cast<streamsize>(n);
    switch (op) {
      case 0:
        in.get(array.data(), size, delim);
        break;
      case 1:
        in.getline(array.data(), size, delim);
        break;
      case 2:
        in.read(array.data(), size);
        break;
      case 3:
        in.ignore(size + 1, static_cast<unsigned>(delim));
        break;
      case 4:
        getline(in, str, delim, n);
        break;
      case 5:
        in.setf({}, ios_base::skipws);
        in.width(size);
        in >> str;
        break;
    }
    if (op < 4) counted = static_cast<size_t>(in.gcount());
    const size_t taken = buf.position() - before;
    if (op < 2 && n != 0) {
      // A line counts the delimiter that ended it.
      array.resize(counted - (op == 1 && in.good()));
      stored.assign(array.begin(), array.end());
    } else if (op == 2) {
      stored.assign(array.begin(), array.begin() + in.gcount());
    } else {
      stored = std::wstring_view(str);
    }
    const std::string trace = "operation " + std::to_string(op) + " n " +
                              std::to_string(n) + " in " +
                              shown<wchar_t>(text.substr(before));
    // Where that code is taken by itself, it goes uncounted.
    if (op < 4) EXPECT_LE(taken - counted, op > 1 ? 1U : 0U) << trace;
    EXPECT_LE(stored.size(), taken) << trace;
    EXPECT_EQ(shown<wchar_t>(stored),
              shown<wchar_t>(text.substr(before, stored.size())))
        << trace;
  }
}

// Text padded to a width near the limits, through a buffer that soon refuses.
template <class Char>
void pad(choices& input) {
  const size_t limit = input.below(3000);
  scripted_streambuf<Char> buf(
      {.put_areas = {input.below(8), input.below(300)}, .accepts = limit});
  nalo::basic_ostream<Char> out(&buf);
  const auto text = runs<Char>(input, {"\0\xFF a", 4}, {1, 2, 1000});
  const streamsize width = nalo_test::numbers::choose_length(input);
  const bool left = input.below(2) == 0;
  if (left) out.setf(ios_base::left);
  out.width(width);
  out << std::basic_string_view<Char>(text);

  const auto length = static_cast<streamsize>(text.size());
  const auto padding = static_cast<size_t>(std::max(width - length, 0L));
  auto expected = text;
  expected.insert(left ? text.size() : 0, std::min(padding, limit), Char(' '));
  EXPECT_EQ(shown<Char>(buf.output()), shown<Char>(expected.substr(0, limit)))
      << "width " << width;
  EXPECT_EQ(out.rdstate(), padding + text.size() > limit ? ios_base::badbit
                                                         : ios_base::goodbit);
  EXPECT_EQ(out.width(), 0);
}

// Refuses what nobody has.
struct small_memory : nalo::memory_source {
  void* allocate(size_t bytes) override {
    return bytes > 1'000'000 ? nullptr : std::malloc(bytes);
  }
  void deallocate(void* block) noexcept override { std::free(block); }
};

// Lengths at which sums wrap around: an error each time, and no change.
template <class Char>
void grow_past_the_limit(choices& input) {
  using string = nalo::basic_string<Char>;
  small_memory memory;
  nalo::allocator ma(memory);
  string s(ma);
  s.append(input.below(200), Char('a'));
  const string sharer = s;
  const std::basic_string<Char> before{std::basic_string_view<Char>(s)};
  const size_t edge =
      input.one_of({string::npos, string::max_size(), string::npos - s.size(),
                    string::max_size() - s.size(), string::npos / 2,
                    string::npos / 2 / 4, string::npos / 4, size_t{1} << 45});
  const size_t n = std::min(edge, string::npos - 4) + input.below(9) - 4;
  const size_t pos = input.below(s.size() + 1), op = input.below(7);
  const Char ch = Char('b');
  try {
    switch (op) {
      case 0:
        s.append(n, ch);
        break;
      case 1:
        s.insert(pos, n, ch);
        break;
      case 2:
        s.replace(pos, input.below(9), n, ch);
        break;
      case 3:
        s.assign(n, ch);
        break;
      case 4:
        s.resize(n);
        break;
      case 5:
        s.reserve(n);
        break;
      case 6:
        string(n, ch, ma);
        break;
    }
    ADD_FAILURE() << "operation " << op << " for " << n << " of " << s.size();
  } catch (const nalo::exception&) {
  }
  for (const string& same : {std::cref(s), std::cref(sharer)}) {
    EXPECT_EQ(shown<Char>(same), shown<Char>(before))
        << "operation " << op << " for " << n;
  }
}

template <class Char>
void run_one(choices& input) {
  if (input.below(1000) == 999) return ignore_past_the_limit(input);  // slow
  switch (input.below(8)) {
    case 0:
      return extract_wide_eof(input);
    case 1:
      return pad<Char>(input);
    case 2:
      return grow_past_the_limit<Char>(input);
    case 3:
    case 4:
      return read_long_number<Char>(input);
    default:
      return extract<Char>(input);
  }
}

}  // namespace

void run(choices& input) {
  return input.below(2) == 0 ? run_one<char>(input) : run_one<wchar_t>(input);
}
