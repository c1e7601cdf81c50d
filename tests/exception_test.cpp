// How errors are raised, what they carry, who hears of them, and the memory
// that is refused.
#include <nalo/base/ios_base>
#include <nalo/exception>
#include <nalo/memory>

#include <gtest/gtest.h>
#include <pthread.h>

#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>

#include "failing_source.h"

namespace {

using nalo::ios_base;

// The last error of this thread, in the form of a dump, behind the number of
// those that it had.
std::string last() {
  const auto [file, line, message, count] = nalo::exception::last_on_thread();
  return std::to_string(count) + ' ' + file + ':' + std::to_string(line) +
         ": " + message;
}

// What is caught is what the thread remembers, once.
template <class E>
void expect_raised(const std::string& text, void (*raise)()) {
  static_assert(std::is_nothrow_copy_constructible_v<E>);
  const auto count = nalo::exception::last_on_thread().count;
  try {
    raise();
    ADD_FAILURE() << "returned";
  } catch (const nalo::exception& caught) {
    EXPECT_EQ(typeid(caught).name(), typeid(E).name());
    EXPECT_EQ(last(), std::to_string(count + 1) + ' ' + text);
    caught.register_on_thread();
    EXPECT_EQ(last(), std::to_string(count + 2) + ' ' + text);
  }
}

template <class E>
void raise_from_local_text() {
  std::string text = "local";
  const E error("a/file", 12, text.c_str());
  text = "other";
  nalo::tThrow(error);
}
template <class... E>
void expect_raised_from_local_text() {
  (expect_raised<E>("a/file:12: local", raise_from_local_text<E>), ...);
}

// Forgets to throw itself.
struct forgetful : nalo::overflow_error {
  using overflow_error::overflow_error;
  void throw_self() override {}
};

TEST(Raise, RegistersTheErrorAndThrowsACopyInItsOwnType) {
  expect_raised_from_local_text<nalo::exception, nalo::overflow_error,
                                nalo::underflow_error, nalo::rvalue_error,
                                nalo::locale_error, nalo::missing_facet_error,
                                ios_base::failure>();
  expect_raised<nalo::exception>(
      "c:4: text", [] { nalo::tThrow(forgetful("c", 4, "text")); });
  expect_raised<ios_base::failure>(
      ":0: ", [] { ios_base::throwIOSFailure(nullptr, 0, nullptr); });
  expect_raised<nalo::null_facet_error>(
      "c:4: nalo::ios_base the locale lacks a facet",
      [] { ios_base::throwNullFacetPointer("c", 4); });
  EXPECT_THROW(nalo::tThrow(42), int);
}

// At the end of its thread, made before the thread's record and ending after.
struct ends_late {
  ~ends_late() {
    try {
      nalo::tThrow(forgetful("here", 7, "forgotten"));
    } catch (const nalo::exception& exc) {
      seen = exc.file() + (", then " + last());
    }
  }
  static inline std::string seen;
};

TEST(LastOnThread, IsEachThreadsOwnAndEmptyBeforeAndBehindIt) {
  nalo::exception("main", 1, "of the main thread").register_on_thread();
  const std::string ours = last();
  std::thread([] {
    thread_local const ends_late late;
    static_cast<void>(&late);
    EXPECT_EQ(last(), "0 :0: ");
    nalo::exception("other", 2, "of another").register_on_thread();
    EXPECT_EQ(last(), "1 other:2: of another");
  }).join();
  EXPECT_EQ(last(), ours);
  EXPECT_EQ(ends_late::seen, "sys/src/nalo/exception, then 0 :0: ");
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
