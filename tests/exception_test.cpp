// How errors are raised, what they carry, who hears of them, and the memory
// that is refused.
#include <nalo/base/ios_base>
#include <nalo/exception>
#include <nalo/memory>

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>

#include "failing_source.h"

namespace {

using nalo::ios_base;

// In the form of a dump.
std::string shown(const char* file, int line, const std::string& message) {
  return std::string(file) + ':' + std::to_string(line) + ": " + message;
}
// The last error of this thread, behind the number of those that it had.
std::string last() {
  const auto [file, line, message, count] = nalo::exception::last_on_thread();
  return std::to_string(count) + ' ' + shown(file, line, message);
}

// Throws itself, or forgets to.
struct own_error : nalo::overflow_error {
  explicit own_error(bool throws)
      : overflow_error("here", 7, "own"), throws_(throws) {}
  void throw_self() override {
    if (throws_) throw own_error(*this);
  }
  bool throws_;
};

template <class E>
void expect_raised(const std::string& text, void (*raise)()) {
  SCOPED_TRACE(typeid(E).name());
  const auto before = nalo::exception::last_on_thread().count;
  try {
    raise();
    ADD_FAILURE() << "returned";
  } catch (const nalo::exception& caught) {
    EXPECT_EQ(typeid(caught).name(), typeid(E).name());
    EXPECT_EQ(shown(caught.file(), caught.line(), caught.what()), text);
    EXPECT_EQ(last(), std::to_string(before + 1) + ' ' + text);
  }
}

template <class E>
void raise_from_local_text() {
  static_assert(std::is_nothrow_copy_constructible_v<E>);
  char text[8] = "local";
  const E err("a/file", 12, text);
  std::memset(text, '?', sizeof text - 1);
  nalo::tThrow(err);
}

template <class... E>
void expect_raised_from_local_text() {
  (expect_raised<E>("a/file:12: local", raise_from_local_text<E>), ...);
}

TEST(Raise, RegistersTheErrorAndThrowsACopyInItsOwnType) {
  expect_raised_from_local_text<nalo::exception, nalo::overflow_error,
                                nalo::underflow_error, nalo::rvalue_error,
                                nalo::locale_error, nalo::missing_facet_error,
                                ios_base::failure>();
  expect_raised<own_error>("here:7: own",
                           [] { nalo::tThrow(own_error(true)); });
  expect_raised<nalo::exception>("here:7: own",
                                 [] { nalo::tThrow(own_error(false)); });
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
      nalo::tThrow(own_error(false));
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
  const auto note = [](const nalo::exception& exc) noexcept {
    std::fputs(exc.what(), stderr);
  };
  EXPECT_EQ(nalo::exception::set_dump_handler(note), nullptr);
  err.dump();
  EXPECT_EQ(nalo::exception::set_dump_handler(standard), +note);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "some/file:5: text\ntext");
}

template <class Char>
class RawChunk : public testing::Test {};
using characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(RawChunk, characters);

TYPED_TEST(RawChunk, IsBoundedBeforeTheSourceIsAsked) {
  using chunk = nalo::allocate_raw_chunk<TypeParam>;
  constexpr size_t width = sizeof(TypeParam);
  nalo_test::failing_source source;
  const nalo::allocator ma(source);
  EXPECT_TRUE(ma == nalo::allocator(source) && ma != nalo::allocator());
  volatile TypeParam* one = chunk(ma);
  EXPECT_EQ(source.bytes(), width);
  nalo::free_raw_chunk(one, ma);
  EXPECT_EQ(one, nullptr);
  EXPECT_EQ(source.bytes(), 0);
  for (const size_t size : {chunk::max_size, chunk::max_size + 1}) {
    const bool possible = size <= chunk::max_size;
    const long before = source.requests();
    source.refuse_after(0);
    try {
      chunk(size, ma);
      ADD_FAILURE() << size;
    } catch (const nalo::allocation_error& error) {
      EXPECT_EQ(error.count(), possible ? size * width : size);
      EXPECT_EQ(source.requests(), before + possible);
    }
  }
}

}  // namespace
