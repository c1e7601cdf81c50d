// The checks of the hardened build: what breaks the rules of an unchecked call
// ends the program, with the place and the rule.
#include <nalo/istream>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

namespace {

// A buffer whose areas are five characters of an array of nine.
template <class Char>
struct five_buffer : nalo::basic_streambuf<Char> {
  using base = nalo::basic_streambuf<Char>;
  using base::gbump, base::pbump, base::setg, base::setp;
  five_buffer() {
    setg(text + 2, text + 4, text + 7);
    setp(text + 2, text + 7);
  }
  Char text[9] = {};
};

template <class Char>
struct Hardened : testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Hardened, Chars);

TYPED_TEST(Hardened, EndsTheProgramAtABrokenRule) {
  using string = nalo::basic_string<TypeParam>;
  using areas =
      nalo::impl::stream_areas<TypeParam, nalo::char_traits<TypeParam>>;
  GTEST_FLAG_SET(death_test_style, "fast");
  five_buffer<TypeParam> buffer;
  nalo::basic_iostream<TypeParam> stream(&buffer);
  TypeParam* const text = buffer.text;
  TypeParam* const no_array = nullptr;
  string three(3, 'a');
  nalo::istreambuf_iterator<TypeParam> end;
  const struct {
    const char* message;
    std::function<void()> call;
  } rules[] = {
      {"setg .* order", [&] { buffer.setg(text + 1, text, text + 2); }},
      {"setg .* order", [&] { buffer.setg(text, text + 2, text + 1); }},
      {"setp .* order", [&] { buffer.setp(text + 1, text); }},
      {"gbump leaves", [&] { buffer.gbump(4); }},
      {"gbump leaves", [&] { buffer.gbump(-3); }},
      {"pbump leaves", [&] { buffer.pbump(6); }},
      {"pbump leaves", [&] { buffer.pbump(-1); }},
      {"than the get area", [&] { areas::gbump(&buffer, 4); }},
      {"than the put area", [&] { areas::pbump(&buffer, 6); }},
      {"sgetn .* null", [&] { buffer.sgetn(no_array, 1); }},
      {"sputn .* null", [&] { buffer.sputn(no_array, 1); }},
      {"iterator is read", [&] { *end; }},
      {"iterator is advanced", [&] { ++end; }},
      {"iterator is advanced", [&] { end++; }},
      {"read gets", [&] { stream.read(text, -1); }},
      {"readsome gets", [&] { stream.readsome(text, -1); }},
      {"write gets", [&] { stream.write(text, -1); }},
      {"insert gets", [&] { stream.insert(text, -1); }},
      {"element behind", [&] { three[4] = TypeParam(); }},
      {"element behind", [&] { static_cast<void>(std::as_const(three)[4]); }},
      {"element behind", [&] { static_cast<void>(string().back()); }},
      {"range ends", [&] { three.erase(three.end(), three.begin()); }},
      {"range ends", [&] { string(text + 1, text); }},
      {"null array", [&] { three.append(no_array, 1); }},
      {"null array", [&] { three.replace(0, 1, no_array, 2); }},
      {"null array", [&] { string(no_array, 1); }},
  };
  for (const auto& rule : rules) {
    EXPECT_DEATH(rule.call(), std::string(":[0-9]+: .*") + rule.message);
  }
  // At the edge of a rule nothing happens.
  for (const long off : {-2, 5}) buffer.gbump(off);
  for (const long off : {5, -5}) buffer.pbump(off);
  EXPECT_EQ(three[3], TypeParam());
}

}  // namespace
