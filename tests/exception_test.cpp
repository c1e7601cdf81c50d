// How errors are raised, what they carry, who hears of them, and the memory
// that is refused.
#include <nalo/base/ios_base>
#include <nalo/exception>
#include <nalo/memory>

#include <gtest/gtest.h>
#include <pthread.h>

#include <string>
#include <thread>

#include "failing_source.h"

namespace {

using nalo::ios_base;

// The last error of this thread, behind the number of those that it had.
std::string last() {
  const auto [file, line, message, count] = nalo::exception::last_on_thread();
  return std::to_string(count) + ' ' + file + ':' + std::to_string(line) +
         ": " + message;
}

// Forgets to throw itself, which is noticed.
struct forgetful : nalo::overflow_error {
  using overflow_error::overflow_error;
  void throw_self() override {}
};
std::string raise_forgetful() {
  try {
    std::string text = "local";
    const forgetful error("a/file", 12, text.c_str());
    text = "other";
    nalo::tThrow(error);
  } catch (const nalo::overflow_error&) {
    return "thrown as more than a plain error";
  } catch (const nalo::exception& error) {
    return std::string(error.file()) + ": " + error.what();
  }
}

// At the end of its thread, made before the thread's record and ending after.
struct ends_late {
  ~ends_late() { seen = raise_forgetful() + ", then " + last(); }
  static inline std::string seen;
};

TEST(Raise, RegistersTheErrorWithItsThreadAndThrowsItInItsOwnType) {
  nalo::exception("file", 1, "of another thread").register_on_thread();
  std::thread([] {
    thread_local const ends_late late;
    static_cast<void>(&late);
    EXPECT_EQ(last(), "0 :0: ");
    EXPECT_THROW(ios_base::throwIOSFailure(nullptr, 0, nullptr),
                 ios_base::failure);
    EXPECT_EQ(last(), "1 :0: ");
    EXPECT_THROW(ios_base::throwNullFacetPointer("c", 4),
                 nalo::null_facet_error);
    EXPECT_EQ(last(), "2 c:4: nalo::ios_base the locale lacks a facet");
    EXPECT_EQ(raise_forgetful(), "a/file: local");
    EXPECT_EQ(last(), "3 a/file:12: local");
    EXPECT_THROW(nalo::tThrow(nalo::locale_error("", 0, "")),
                 nalo::locale_error);
    EXPECT_THROW(nalo::tThrow(nalo::exception("", 0, "")), nalo::exception);
    EXPECT_THROW(nalo::tThrow(42), int);
  }).join();
  EXPECT_EQ(ends_late::seen, "sys/src/nalo/exception: , then 0 :0: ");
}

// A stream that swallows an error must not end the program because its thread
// is about to be cancelled: no unwinding leaves dump().
TEST(Dump, GoesToTheHandlerInForceAndIsNoCancellationPoint) {
  const nalo::exception err("some/file", 5, "text");
  int cancelable = -1;
  testing::internal::CaptureStderr();
  std::thread([&] {
    pthread_cancel(pthread_self());
    err.dump();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelable);
  }).join();
  EXPECT_EQ(cancelable, PTHREAD_CANCEL_ENABLE);
  const auto standard = nalo::exception::set_dump_handler(nullptr);
  err.dump();
  EXPECT_EQ(nalo::exception::set_dump_handler(standard), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "some/file:5: text\n");
}

TEST(RawChunk, IsBoundedBeforeTheSourceIsAsked) {
  using chunk = nalo::allocate_raw_chunk<wchar_t>;
  constexpr size_t width = sizeof(wchar_t);
  nalo_test::failing_source source;
  const nalo::allocator ma(source);
  EXPECT_TRUE(ma == nalo::allocator(source) && ma != nalo::allocator());
  volatile wchar_t* one = chunk(ma);
  EXPECT_EQ(source.bytes(), width);
  nalo::free_raw_chunk(one, ma);
  EXPECT_EQ(one, nullptr);
  EXPECT_EQ(source.bytes(), 0);
  for (const size_t size : {chunk::max_size, chunk::max_size + 1}) {
    try {
      chunk(size, ma);
      ADD_FAILURE() << size;
    } catch (const nalo::allocation_error& error) {
      EXPECT_EQ(error.count(), size > chunk::max_size ? size : size * width);
    }
    EXPECT_EQ(source.requests(), 2);
  }
}

}  // namespace
