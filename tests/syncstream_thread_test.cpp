// Streams through which threads share a buffer.
#include <nalo/syncstream>

#include "common.h"

namespace {

using namespace nalo_test;

TEST_SUITE_OF_CHARACTERS(Syncstream);

TYPED_TEST(Syncstream, KeepsTheLinesOfThreadsWhole) {
  using osyncstream = nalo::basic_osyncstream<TypeParam>;
  // More buffers than the library has locks, so that some share one.
  std::vector<nalo::basic_stringbuf<TypeParam>> targets(150);
  const auto write = [&](int thread) {
    for (int round = 0; round < 20; ++round) {
      for (auto& target : targets) {
        osyncstream out(&target);
        // A second stream writes through the first and emits while that emits.
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

TYPED_TEST(Syncstream, EmitsOnRequestAndWhenReplacedOrDestroyed) {
  using buffer = scripted_streambuf<TypeParam>;
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
    osyncstream last(&target);
    last << "k";
    other = std::move(last);
    expect("abcdefgh\\x0Aij", "xsputn overflow(105) sync ");
    other << nalo::flush;
    other.emit();
    expect("abcdefgh\\x0Aijk", "overflow(107) sync ");
    other << nalo::flush;
    other.setstate(eof);
    other.emit();
    expect("abcdefgh\\x0Aijk", "");
    other.clear();
    other.emit();
    other.emit();
  }
  expect("abcdefgh\\x0Aijk", "xsputn sync ");
  {
    osyncstream out(&target);
    out << "lost";
    arm(1, fault::standard);
    out.emit();
    EXPECT_TRUE(out.bad());
    // The destructor raises nothing.
    out.rdbuf()->sputn(widened<TypeParam>("lost").data(), 4);
    arm(1, fault::other);
  }
  expect("abcdefgh\\x0Aijk", "");
  below << nalo::emit_on_flush << nalo::flush_emit;
  EXPECT_TRUE(below.good());
}

TYPED_TEST(Syncstream, EmitsWhatAnAssignmentReplacesAndMovesItsSettings) {
  using syncbuf = nalo::basic_syncbuf<TypeParam>;
  scripted_streambuf<TypeParam> target({});
  syncbuf one(&target), two(&target), without_target;
  one.sputc('1');
  two.sputc('2');
  two.set_emit_on_sync(true);
  swap(one, without_target);
  without_target.swap(one);
  one = std::move(two);
  EXPECT_EQ(shown<TypeParam>(target.output()), "1");
  EXPECT_EQ(one.pubsync(), 0);
  EXPECT_EQ(shown<TypeParam>(target.output()), "12");
  for (int i = 0; i < 600; ++i) one.sputc('x');
  EXPECT_TRUE(one.emit() && one.emit());
  EXPECT_EQ(target.output().size(), 602u);
  // A wide character with the value of eof is not written.
  target.own_log_.clear();
  syncbuf(&target).sputc(TypeParam(-1));
  EXPECT_EQ(target.own_log_.find("sync"), std::string::npos);
  EXPECT_EQ(target.output().size(), sizeof(TypeParam) > 1 ? 602u : 603u);
  without_target.set_emit_on_sync(true);
  without_target.sputc('3');
  EXPECT_EQ(without_target.pubsync(), -1);
}

}  // namespace
