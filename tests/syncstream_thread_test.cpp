// Streams by which threads share a buffer.
#include <nalo/buffers/string>
#include <nalo/istream>
#include <nalo/syncstream>

#include "common.h"

namespace {

using nalo::ios_base;
using nalo_test::shown, nalo_test::widened;

TEST_SUITE_OF_CHARACTERS(Syncstream);

TYPED_TEST(Syncstream, KeepsTheLinesOfThreadsWhole) {
  using osyncstream = nalo::basic_osyncstream<TypeParam>;
  // More buffers than there are places for their users, so that some share one.
  std::vector<nalo::basic_stringbuf<TypeParam>> targets(150);
  const auto write = [&](int thread) {
    for (int round = 0; round < 20; ++round) {
      for (auto& target : targets) {
        osyncstream out(&target);
        // Through a second one, which emits while the first one does.
        osyncstream inner(out.rdbuf());
        inner << thread << ' ' << nalo::emit_on_flush;
        out << nalo::emit_on_flush;
        for (int i = 0; i < round * 20; ++i) inner << thread;
        inner << nalo::endl;
      }
    }
  };
  std::vector<std::thread> threads;
  for (int i = 1; i <= 3; ++i) threads.emplace_back(write, i);
  for (auto& thread : threads) thread.join();
  for (auto& target : targets) {
    nalo::basic_istream<TypeParam> in(&target);
    int lines = 0;
    nalo::basic_string<TypeParam> line;
    for (; getline(in, line); ++lines) {
      const std::basic_string_view<TypeParam> all = line;
      ASSERT_EQ(all.find_first_not_of(all[0], 2), all.npos) << shown(all);
    }
    EXPECT_EQ(lines, 60);
  }
}

TYPED_TEST(Syncstream, HandsOverWhenItIsTold) {
  using buffer = nalo_test::scripted_streambuf<TypeParam>;
  using osyncstream = nalo::basic_osyncstream<TypeParam>;
  buffer target({});
  nalo::basic_ostream<TypeParam> below(&target);
  const auto expect = [&](const char* text, const char* calls) {
    EXPECT_EQ(shown<TypeParam>(target.output()), text);
    EXPECT_EQ(std::exchange(target.own_log_, ""), calls);
  };
  {
    osyncstream out(below);
    EXPECT_EQ(out.get_wrapped(), &target);
    out << "ab" << nalo::flush << "cd";
    expect("", "");
    out.emit();
    expect("abcd", "xsputn overflow(97) sync ");
    out << "ef" << nalo::flush_emit << nalo::emit_on_flush << "gh"
        << nalo::endl;
    expect("abcdefgh\\x0A",
           "xsputn overflow(101) sync xsputn overflow(103) sync ");
    out << "i" << nalo::noemit_on_flush << nalo::flush;
    osyncstream other(std::move(out));
    EXPECT_EQ(out.get_wrapped(), nullptr);
    out << 'x';
    out.emit();
    EXPECT_TRUE(out.bad());
    expect("abcdefgh\\x0A", "");
    other << "j";
    other = osyncstream(&target);
    expect("abcdefgh\\x0Aij", "xsputn overflow(105) sync ");
    other << "k";
  }
  expect("abcdefgh\\x0Aijk", "overflow(107) ");
  below << nalo::emit_on_flush << nalo::flush_emit;
  EXPECT_TRUE(below.good());
}

TYPED_TEST(Syncstream, ReportsWhatTheBufferBeneathDoes) {
  using nalo_test::fault;
  const struct {
    fault kind;
    int point;  // of sputn, overflow and sync
    const char* error;
  } rows[] = {{fault::refusal, 1, "basic_ios::clear"},
              {fault::refusal, 3, "basic_ios::clear"},
              {fault::library, 1, "library"},
              {fault::standard, 3, "standard"}};
  for (const auto& row : rows) {
    for (const auto mask : {ios_base::goodbit, ios_base::badbit}) {
      nalo_test::scripted_streambuf<TypeParam> target({});
      nalo::basic_osyncstream<TypeParam> out(&target);
      out << "ab" << nalo::flush;
      out.exceptions(mask);
      const auto raised =
          nalo_test::raised_by([&] { out.emit(); }, row.point, row.kind);
      EXPECT_TRUE(out.bad());
      EXPECT_EQ(raised, mask == ios_base::goodbit ? "" : row.error);
      // Nothing is left, and nothing is raised by the destructor.
      target.own_log_.clear();
      EXPECT_TRUE(out.rdbuf()->emit());
      EXPECT_EQ(target.own_log_, "");
      out.rdbuf()->sputn(widened<TypeParam>("ab").data(), 2);
      nalo_test::arm(1, row.kind);
    }
    nalo_test::armed = false;
  }
}

}  // namespace
