// Printing with format strings. Only built when {fmt} is found.
#include <nalo/print>

#include <nalo/buffers/string>

#include "common.h"

namespace {

using namespace nalo_test;

TEST_SUITE_OF_CHARACTERS(Print);

// A format string of either character type.
template <class Char>
consteval auto choose(const char* narrow, const wchar_t* wide) {
  return std::get<const Char*>(std::tuple(narrow, wide));
}
#define FORMAT(text) choose<TypeParam>(text, L##text)

TYPED_TEST(Print, WritesOneBlockAsWriteDoes) {
  const nalo::basic_string<TypeParam> name(widened<TypeParam>("nalo"));
  const struct {
    fault kind;
    int width;
    const char *error, *output, *calls;
  } rows[] = {
      {fault::none, 6, "", "  nalo\\x0A\\x0Ax",
       "xsputn overflow(32) sync overflow(10) sync overflow(120) sync "},
      {fault::library, 6, "library", "", ""},
      {fault::refusal, 6, "basic_ios::clear", "", "xsputn "},
      {fault::none, -1, "negative", "", ""},
  };
  for (const auto& row : rows) {
    scripted_streambuf<TypeParam> buf({});
    nalo::basic_ostream<TypeParam> out(&buf, bad);
    out << nalo::setw(9) << nalo::unitbuf;
    const auto print = [&] {
      nalo::println(out, FORMAT("{:>{}}"), name, row.width);
      nalo::println(out);
    };
    const std::string raised = raised_by(print, 1, row.kind);
    EXPECT_EQ(raised.empty(), *row.error == 0);
    EXPECT_NE(raised.find(row.error), raised.npos) << raised;
    EXPECT_EQ(out.bad(), *row.error != 0);
    EXPECT_EQ(out.width(), 9);
    out.exceptions(good);
    nalo::print(out, FORMAT("{}"), TypeParam('x'));
    EXPECT_EQ(shown<TypeParam>(buf.output()), row.output);
    EXPECT_EQ(buf.own_log_, row.calls);
  }
  nalo::stringbuf console;
  nalo::streambuf* const before = nalo::cout.rdbuf(&console);
  nalo::print("{}", 1), nalo::println("{}", 2), nalo::println();
  nalo::cout.rdbuf(before);
  EXPECT_EQ(console.view(), "12\n\n");
}

}  // namespace
