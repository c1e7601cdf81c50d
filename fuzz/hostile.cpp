// What hostile input may hold: embedded nulls, the codes 0xFF and 0xFFFFFFFF,
// and very long runs. The targets numbers and strings have vast widths and
// lengths.
#include <functional>
#include <iterator>

#include "fuzz.h"
#include "stream_model.h"

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

// Any operation on a text with nulls and long runs, against the model.
template <class Char>
void extract(choices& input) {
  nalo_test::streams::comparison<Char> both(input, runs<Char>(input));
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

}  // namespace

void run(choices& input) {
  switch (input.below(3)) {
    case 0:
      return extract<char>(input);
    case 1:
      return extract<wchar_t>(input);
    case 2:
      return extract_wide_eof(input);
  }
}
