// A thread that is cancelled inside a virtual call of a buffer: the stream is
// marked bad, the unwinding goes on, nothing is lost.
#include <nalo/istream>

#include <gtest/gtest.h>

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <string>

#include "scripted_streambuf.h"
#include "text.h"

namespace {

using nalo::ios_base;
using nalo_test::fault;
using nalo_test::scripted_streambuf;
using nalo_test::widened;

template <class Char>
using operation = void (*)(nalo::basic_istream<Char>&,
                           nalo::basic_string<Char>&,
                           scripted_streambuf<Char>& target);

// Runs an operation in a thread. Answers whether the thread was cancelled.
template <class Char>
class ThreadIstream : public testing::Test {
 protected:
  bool runs_cancelled(operation<Char> work, nalo::basic_istream<Char>& in,
                      scripted_streambuf<Char>& target) {
    job current{work, in, target};
    const auto run = [](void* argument) -> void* {
      auto& [call, stream, to, unwound] = *static_cast<job*>(argument);
      const struct unwinding {
        ~unwinding() { done = true; }
        bool& done;
      } guard{unwound};
      // Its chunk is lost unless the unwinding passes here.
      nalo::basic_string<Char> str(200, 'x');
      call(stream, str, to);
      return nullptr;
    };
    pthread_t thread;
    void* result = nullptr;
    EXPECT_EQ(pthread_create(&thread, nullptr, run, &current), 0);
    EXPECT_EQ(pthread_join(thread, &result), 0);
    EXPECT_TRUE(current.unwound);
    return result == PTHREAD_CANCELED;
  }

 private:
  struct job {
    operation<Char> work;
    nalo::basic_istream<Char>& in;
    scripted_streambuf<Char>& target;
    bool unwound = false;
  };
};

using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(ThreadIstream, Chars);

#define CALL(...)                                                  \
  "" #__VA_ARGS__,                                                 \
      [](nalo::basic_istream<TypeParam>& in,                       \
         [[maybe_unused]] nalo::basic_string<TypeParam>& str,      \
         [[maybe_unused]] scripted_streambuf<TypeParam>& target) { \
        [[maybe_unused]] TypeParam s[9];                           \
        __VA_ARGS__;                                               \
      }

TYPED_TEST(ThreadIstream, IsBadWhenCancelledInAnyVirtualCall) {
  const struct {
    const char* name;
    operation<TypeParam> work;
  } operations[] = {
      {CALL(in.ignore())},        {CALL(in.ignore(9))},
      {CALL(in.ignore(9, '\n'))}, {CALL(in.getline(s, 9))},
      {CALL(in.get(s, 9))},       {CALL(getline(in, str))},
      {CALL(getstring(in, str))}, {CALL(getstring(in, s))},
      {CALL(in >> &target)},      {CALL(in.get())},
      {CALL(in.read(s, 5))},      {CALL(in.readsome(s, 5))},
      {CALL(in.unget())},         {CALL(in.sync())},
      {CALL(in.tellg())},         {CALL(in.seekg(0))},
  };
  for (const auto& op : operations) {
    size_t points = 0;
    for (bool cancelled = true; cancelled; ++points) {
      std::string log;
      scripted_streambuf<TypeParam> buf(
          {.input = widened<TypeParam>("abcdef\n"),
           .get_areas = {2, 1, 0},
           .fail_at = points + 1,
           .kind = fault::cancel});
      scripted_streambuf<TypeParam> target({.put_areas = {2}});
      nalo::basic_istream<TypeParam> in(&buf);
      in.unsetf(ios_base::skipws);
      cancelled = this->runs_cancelled(op.work, in, target);
      EXPECT_EQ(cancelled, buf.calls_ == points + 1) << op.name;
      EXPECT_TRUE(in.bad() || !cancelled) << op.name << ", call " << points + 1;
    }
    EXPECT_GT(points, 1) << op.name;
  }
}

TYPED_TEST(ThreadIstream, IsBadWhenCancelledFromOutside) {
  struct waiting : nalo::basic_streambuf<TypeParam> {
    typename nalo::char_traits<TypeParam>::int_type underflow() override {
      reached = true;
      for (;;) pause();
    }
    std::atomic<bool> reached = false;
  } buf;
  nalo::basic_istream<TypeParam> in(&buf, ios_base::badbit);
  pthread_t thread;
  const auto run = [](void* stream) -> void* {
    nalo::basic_string<TypeParam> line(200, 'x');
    getline(*static_cast<nalo::basic_istream<TypeParam>*>(stream), line);
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, nullptr, run, &in), 0);
  while (!buf.reached) usleep(1000);
  pthread_cancel(thread);
  void* result = nullptr;
  ASSERT_EQ(pthread_join(thread, &result), 0);
  EXPECT_EQ(result, PTHREAD_CANCELED);
  EXPECT_EQ(in.rdstate(), ios_base::badbit);
}

}  // namespace
