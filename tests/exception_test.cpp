// How errors are raised, what they carry, who hears of them, and the memory
// that is refused.
#include <nalo/base/ios_base>
#include <nalo/exception>
#include <nalo/memory>

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>

namespace {

using nalo::ios_base;

unsigned long registered() { return nalo::exception::last_on_thread().count; }

// Notes what was registered by the time it is asked to throw itself.
struct noting_error : nalo::overflow_error {
  noting_error(const char* message, bool throws)
      : overflow_error("here", 7, message), throws_(throws) {}
  void throw_self() override {
    noted = nalo::exception::last_on_thread();
    if (throws_) throw noting_error(*this);
  }
  static inline record noted;
  bool throws_;
};

TEST(Raise, RegistersOnceAndThenThrowsACopyOfTheDynamicType) {
  const auto before = registered();
  const noting_error err("text", true);
  try {
    nalo::tThrow<nalo::overflow_error>(err);
  } catch (const noting_error& caught) {
    EXPECT_NE(&caught, &err);
  }
  EXPECT_EQ(noting_error::noted.count, before + 1);
  EXPECT_EQ(noting_error::noted.message, "text");
  EXPECT_EQ(registered(), before + 1);
}

TEST(Raise, ThrowsWhatIsNoLibraryErrorAsItIs) {
  const auto before = registered();
  EXPECT_THROW(nalo::tThrow(42), int);
  EXPECT_THROW(nalo::tThrow(std::out_of_range("")), std::out_of_range);
  EXPECT_EQ(registered(), before);
}

template <class E>
void raise_from_local_text() {
  char text[8] = "local";
  const E err("a/file", 12, text);
  std::memset(text, '?', sizeof text - 1);
  nalo::tThrow(err);
}

TEST(Raise, CarriesFileLineAndMessageInTheErrorsOwnType) {
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
#undef FROM_LOCAL_TEXT
      {[] { nalo::tThrow(noting_error("forgets to throw", false)); },
       typeid(nalo::exception), "here", 7, "forgets to throw"},
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
    try {
      c.raise();
      ADD_FAILURE() << "returned";
    } catch (const nalo::exception& caught) {
      EXPECT_EQ(typeid(caught).name(), c.type.name());
      EXPECT_STREQ(caught.file(), c.file);
      EXPECT_EQ(caught.line(), c.line);
      EXPECT_STREQ(caught.what(), c.message);
      const auto last = nalo::exception::last_on_thread();
      EXPECT_STREQ(last.file, c.file);
      EXPECT_EQ(last.line, c.line);
      EXPECT_EQ(last.message, c.message);
    }
  }
}

template <class... E>
constexpr bool copy_without_throwing =
    (... && (std::is_nothrow_copy_constructible_v<E> &&
             std::is_base_of_v<std::exception, E>));
static_assert(
    copy_without_throwing<
        nalo::exception, nalo::overflow_error, nalo::underflow_error,
        nalo::rvalue_error, nalo::allocation_error, nalo::null_facet_error,
        ios_base::failure, nalo::locale_error, nalo::missing_facet_error>);
static_assert(nalo::ERR_NALO_BASE == 1000000);

TEST(LastOnThread, IsEachThreadsOwn) {
  nalo::exception("main", 1, "of the main thread").register_on_thread();
  const auto before = registered();
  std::thread([] {
    EXPECT_EQ(registered(), 0U);
    EXPECT_STREQ(nalo::exception::last_on_thread().file, "");
    EXPECT_EQ(nalo::exception::last_on_thread().line, 0);
    nalo::exception("other", 2, "of another").register_on_thread();
    EXPECT_EQ(registered(), 1U);
  }).join();
  EXPECT_EQ(registered(), before);
  EXPECT_EQ(nalo::exception::last_on_thread().message, "of the main thread");
}

TEST(LastOnThread, IsEmptyOnceTheThreadEnds) {
  static nalo::exception::record last;
  static std::string seen;
  struct ends_late {
    ~ends_late() {
      try {
        nalo::tThrow(noting_error("late", false));
      } catch (const nalo::exception& exc) {
        seen = exc.file();
        last = nalo::exception::last_on_thread();
      }
    }
  };
  std::thread([] {
    // Made before the thread's record, it ends after it.
    thread_local const ends_late late;
    static_cast<void>(&late);
    nalo::exception("early", 1, "").register_on_thread();
  }).join();
  EXPECT_EQ(seen, "sys/src/nalo/exception");
  EXPECT_EQ(last.count, 0U);
  EXPECT_STREQ(last.file, "");
}

std::string dumped;
void note_dump(const nalo::exception& exc) noexcept { dumped += exc.what(); }

TEST(Dump, GoesToTheHandlerInForce) {
  const nalo::exception err("some/file", 5, "text");
  testing::internal::CaptureStderr();
  err.dump();
  const auto standard = nalo::exception::set_dump_handler(nullptr);
  err.dump();
  EXPECT_EQ(nalo::exception::set_dump_handler(note_dump), nullptr);
  err.dump();
  EXPECT_EQ(nalo::exception::set_dump_handler(standard), note_dump);
  EXPECT_EQ(dumped, "text");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "some/file:5: text\n");
}

// A stream that swallows an error must not end the program because its thread
// is about to be cancelled: no unwinding leaves dump().
TEST(Dump, IsNoCancellationPoint) {
  testing::internal::CaptureStderr();
  bool came_back = false;
  std::thread([&] {
    pthread_cancel(pthread_self());
    nalo::exception("f", 1, "m").dump();
    came_back = true;
  }).join();
  EXPECT_TRUE(came_back);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "f:1: m\n");
}

// Hands out blocks of up to 100 bytes.
struct bounded_source : nalo::memory_source {
  void* allocate(size_t bytes) override {
    asked = bytes;
    return bytes <= 100 ? std::malloc(bytes) : nullptr;
  }
  void deallocate(void* block) noexcept override {
    std::free(block);
    ++released;
  }
  size_t asked = 0;
  int released = 0;
};

TEST(Memory, AllocatorsAreEqualWhenTheyShareASource) {
  bounded_source one, other;
  EXPECT_EQ(nalo::allocator(one), nalo::allocator(one));
  EXPECT_NE(nalo::allocator(one), nalo::allocator(other));
  EXPECT_NE(nalo::allocator(one), nalo::allocator::default_());
  EXPECT_EQ(nalo::allocator(), nalo::allocator::default_());
  const nalo::allocator heap;
  heap.deallocate(heap.allocate(10));
}

template <class Char>
class RawChunk : public testing::Test {};
using characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(RawChunk, characters);

TYPED_TEST(RawChunk, IsBoundedBeforeTheSourceIsAsked) {
  using chunk = nalo::allocate_raw_chunk<TypeParam>;
  constexpr size_t width = sizeof(TypeParam), max = (~size_t{0} - 8) / width;
  const struct {
    size_t elements;
    size_t asked;    // bytes
    size_t refused;  // what the error counts; 0: none
  } cases[] = {
      {25, 25 * width, 0},
      {101, 101 * width, 101 * width},
      {max, max * width, max * width},
      {max + 1, 0, max + 1},
      {~size_t{0}, 0, ~size_t{0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.elements);
    bounded_source source;
    const nalo::allocator ma(source);
    size_t refused = 0;
    try {
      volatile TypeParam* block = chunk(c.elements, ma);
      block[c.elements - 1] = 0;
      nalo::free_raw_chunk(block, ma);
      EXPECT_EQ(block, nullptr);
      EXPECT_EQ(source.released, 1);
    } catch (const nalo::allocation_error& error) {
      refused = error.count();
    }
    EXPECT_EQ(source.asked, c.asked);
    EXPECT_EQ(refused, c.refused);
  }
}

}  // namespace
