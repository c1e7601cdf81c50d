// How errors are raised, what they carry, who hears of them, and the memory
// that is refused.
#include <nalo/base/ios_base>
#include <nalo/exception>
#include <nalo/memory>

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstring>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>

#include "failing_source.h"

namespace {

using nalo::ios_base;

nalo::exception::record last() { return nalo::exception::last_on_thread(); }

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
void raise_from_local_text() {
  static_assert(std::is_nothrow_copy_constructible_v<E>);
  char text[8] = "local";
  const E err("a/file", 12, text);
  std::memset(text, '?', sizeof text - 1);
  nalo::tThrow(err);
}

TEST(Raise, RegistersFileLineAndMessageAndThrowsACopyInTheErrorsOwnType) {
  const struct {
    void (*raise)();
    const std::type_info& type;
    const char* file;
    int line;
    const char* message;
  } cases[] = {
#define FROM_LOCAL_TEXT(E) \
  {raise_from_local_text<E>, typeid(E), "a/file", 12, "local"}
      FROM_LOCAL_TEXT(nalo::exception),
      FROM_LOCAL_TEXT(nalo::overflow_error),
      FROM_LOCAL_TEXT(nalo::underflow_error),
      FROM_LOCAL_TEXT(nalo::rvalue_error),
      FROM_LOCAL_TEXT(nalo::locale_error),
      FROM_LOCAL_TEXT(nalo::missing_facet_error),
#undef FROM_LOCAL_TEXT
      {[] { nalo::tThrow(own_error(true)); }, typeid(own_error), "here", 7,
       "own"},
      {[] { nalo::tThrow(own_error(false)); }, typeid(nalo::exception), "here",
       7, "own"},
      {[] { ios_base::throwIOSFailure("b", 3, "text"); },
       typeid(ios_base::failure), "b", 3, "text"},
      {[] { ios_base::throwIOSFailure(nullptr, 0, nullptr); },
       typeid(ios_base::failure), "", 0, ""},
      {[] { ios_base::throwNullFacetPointer("c", 4); },
       typeid(nalo::null_facet_error), "c", 4,
       "nalo::ios_base the locale lacks a facet"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type.name());
    const auto before = last().count;
    try {
      c.raise();
      ADD_FAILURE() << "returned";
    } catch (const nalo::exception& caught) {
      EXPECT_EQ(typeid(caught).name(), c.type.name());
      EXPECT_STREQ(caught.file(), c.file);
      EXPECT_EQ(caught.line(), c.line);
      EXPECT_STREQ(caught.what(), c.message);
      EXPECT_STREQ(last().file, c.file);
      EXPECT_EQ(last().line, c.line);
      EXPECT_EQ(last().message, c.message);
      EXPECT_EQ(last().count, before + 1);
    }
  }
  EXPECT_THROW(nalo::tThrow(42), int);
}

// At the end of its thread, made before the thread's record and ending after.
struct ends_late {
  ~ends_late() {
    try {
      nalo::tThrow(own_error(false));
    } catch (const nalo::exception& exc) {
      file = exc.file();
      record = last();
    }
  }
  static inline std::string file;
  static inline nalo::exception::record record;
};

TEST(LastOnThread, IsEachThreadsOwnAndEmptyBeforeAndBehindIt) {
  nalo::exception("main", 1, "of the main thread").register_on_thread();
  std::thread([] {
    thread_local const ends_late late;
    static_cast<void>(&late);
    EXPECT_EQ(last().count, 0);
    EXPECT_STREQ(last().file, "");
    EXPECT_EQ(last().line, 0);
    nalo::exception("other", 2, "of another").register_on_thread();
    EXPECT_EQ(last().count, 1);
  }).join();
  EXPECT_EQ(last().message, "of the main thread");
  EXPECT_EQ(ends_late::file, "sys/src/nalo/exception");
  EXPECT_EQ(ends_late::record.count, 0);
  EXPECT_STREQ(ends_late::record.file, "");
  EXPECT_EQ(ends_late::record.line, 0);
}

std::string dumped;

// A stream that swallows an error must not end the program because its thread
// is about to be cancelled: no unwinding leaves dump().
TEST(Dump, GoesToTheHandlerInForceAndIsNoCancellationPoint) {
  const nalo::exception err("some/file", 5, "text");
  testing::internal::CaptureStderr();
  std::thread([&] {
    pthread_cancel(pthread_self());
    err.dump();
    int cancelable = -1;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelable);
    EXPECT_EQ(cancelable, PTHREAD_CANCEL_ENABLE);
    dumped = "came back, ";
  }).join();
  const auto standard = nalo::exception::set_dump_handler(nullptr);
  err.dump();
  const auto note = [](const nalo::exception& exc) noexcept {
    dumped += exc.what();
  };
  EXPECT_EQ(nalo::exception::set_dump_handler(note), nullptr);
  err.dump();
  EXPECT_EQ(nalo::exception::set_dump_handler(standard), +note);
  EXPECT_EQ(dumped, "came back, text");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "some/file:5: text\n");
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
  for (const size_t size :
       {size_t{9}, chunk::max_size, chunk::max_size + 1, ~size_t{0}}) {
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
