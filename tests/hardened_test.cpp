// The hardened build ends the program and reports the rule that a call breaks.

#include "common.h"

namespace {

template <class Char>
struct opened : nalo::basic_streambuf<Char> {
  using base = nalo::basic_streambuf<Char>;
  using base::gbump, base::pbump, base::setg, base::setp;
};

TEST_SUITE_OF_CHARACTERS(Hardened);

TYPED_TEST(Hardened, EndsTheProgramWhenARuleIsBroken) {
  using string = nalo::basic_string<TypeParam>;
  GTEST_FLAG_SET(death_test_style, "fast");
  // Each area has five of nine characters.
  TypeParam text[9] = {};
  opened<TypeParam> buf;
  buf.setg(text + 2, text + 4, text + 7);
  buf.setp(text + 2, text + 7);
  nalo::basic_iostream<TypeParam> io(&buf);
  TypeParam* const no_array = nullptr;
  string three(3, 'a');
  nalo::istreambuf_iterator<TypeParam> end;
  const auto expect = [](const std::string& message, auto call) {
    EXPECT_DEATH(call(), ":[0-9]+: .*" + message);
  };
  expect("setg .* order", [&] { buf.setg(text + 1, text, text + 2); });
  expect("setg .* order", [&] { buf.setg(text, text + 2, text + 1); });
  expect("setp .* order", [&] { buf.setp(text + 1, text); });
  for (const long n : {4, -3}) expect("gbump leaves", [&] { buf.gbump(n); });
  for (const long n : {6, -1}) expect("pbump leaves", [&] { buf.pbump(n); });
  expect("sgetn .* null", [&] { buf.sgetn(no_array, 1); });
  expect("sputn .* null", [&] { buf.sputn(no_array, 1); });
  expect("iterator is read", [&] { *end; });
  expect("iterator is advanced", [&] { ++end; });
  expect("iterator is advanced", [&] { end++; });
  expect("read gets", [&] { io.read(text, -1); });
  expect("readsome gets", [&] { io.readsome(text, -1); });
  expect("write gets", [&] { io.write(text, -1); });
  expect("insert gets", [&] { io.insert(text, -1); });
  expect("element behind", [&] { three[4] = TypeParam(); });
  expect("element behind", [&] { static_cast<void>(std::as_const(three)[4]); });
  expect("range ends", [&] { three.erase(three.end(), three.begin()); });
  expect("range ends", [&] { string(text + 1, text); });
  expect("null array", [&] { three.append(no_array, 1); });
  // Calls at the limits are allowed.
  for (const long n : {-2, 5}) buf.gbump(n);
  for (const long n : {5, -5}) buf.pbump(n);
  EXPECT_EQ(three[3], TypeParam());
}

}  // namespace
