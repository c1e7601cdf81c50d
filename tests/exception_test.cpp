// How errors are raised, what they contain and where they are reported.

#include "blocks_in_use.h"
#include "common.h"

namespace {

using namespace nalo_test;
using nalo::locale_error, nalo::null_facet_error, nalo::tThrow;

// The number of errors of this thread and the last one.
std::string last() {
  const auto [file, line, message, count] = nalo::exception::last_on_thread();
  return std::to_string(count) + ' ' + file + ':' + std::to_string(line) +
         ": " + message;
}

// Throws and swallows another error instead of itself.
struct forgetful : nalo::overflow_error {
  using overflow_error::overflow_error;
  void throw_self() override {
    try {
      tThrow(overflow_error("b", 3, "swallowed"));
    } catch (const overflow_error&) {
    }
  }
};
std::string raise_forgetful() {
  try {
    std::string text = "local";
    const forgetful error("a/file", 12, text.c_str());
    text = "other";
    tThrow(error);
  } catch (const nalo::overflow_error&) {
    return "thrown by its type";
  } catch (const nalo::exception& error) {
    return std::string(error.file()) + ": " + error.what();
  }
}

struct raises_at_once : nalo::impl::throw_check_base {
  raises_at_once() { throw_returned(); }
};

// Raises errors after all thread-local objects of its thread were destroyed.
void raise_late(void* to) {
  std::string& seen = *static_cast<std::string*>(to);
  try {
    const raises_at_once raise;
  } catch (const nalo::exception& error) {
    seen = error.what();
  }
  seen += ", " + raise_forgetful();
  seen += ", then " + last();
}

TEST(Raise, RegistersTheErrorWithItsThreadAndThrowsItByItsType) {
  nalo::exception("file", 1, "of another thread").register_on_thread();
  std::thread([] {
    EXPECT_EQ(last(), "0 :0: ");
    EXPECT_THROW(ios_base::throwIOSFailure(nullptr, 0, nullptr),
                 ios_base::failure);
    EXPECT_EQ(last(), "1 :0: ");
    EXPECT_THROW(ios_base::throwNullFacetPointer("c", 4), null_facet_error);
    EXPECT_EQ(last(), "2 c:4: nalo::ios_base the locale lacks a facet");
    EXPECT_EQ(raise_forgetful(), "a/file: local");
    EXPECT_EQ(last(), "4 b:3: swallowed");
    EXPECT_EQ(raised_by([] { const raises_at_once raise; }), "swallowed");
    EXPECT_THROW(tThrow(locale_error("", 0, "")), locale_error);
    EXPECT_THROW(tThrow(nalo::exception("", 0, "")), nalo::exception);
    EXPECT_THROW(tThrow(42), int);
  }).join();
}

TEST(Raise, WorksInDestructorsOfThreadSpecificDataAndLeaksNothing) {
  pthread_key_t key;
  ASSERT_EQ(pthread_key_create(&key, raise_late), 0);
  std::string seen(100, ' ');  // so that it need not grow
  const long blocks = blocks_in_use;
  std::thread([&] { pthread_setspecific(key, &seen); }).join();
  EXPECT_EQ(blocks_in_use, blocks);
  EXPECT_EQ(seen, "nothing was raised, a/file: local, then 2 b:3: swallowed");
  pthread_key_delete(key);
}

struct unknown_facet : nalo::locale::facet {
  static inline nalo::locale::id id;
};

// A text of more than 127 bytes needs memory; without memory it is truncated.
TEST(Raise, WorksWithoutMemory) {
  const std::string longest(127, 'x'), longer(200, 'x');
  failing_source source;
  source.refuse_after(0);
  const long blocks = blocks_in_use;
  {
    refused = [] { return true; };
    EXPECT_THROW(nalo::allocator(source).allocate(1), nalo::allocation_error);
    EXPECT_THROW(nalo::use_facet<unknown_facet>(nalo::locale::classic()),
                 nalo::missing_facet_error);
    nalo::exception copy("", 0, longer.c_str());
    refused = [] { return false; };
    EXPECT_EQ(copy.what(), longest);
    {
      const nalo::exception error("", 0, longer.c_str()), same = error;
      copy = same;
    }
    EXPECT_EQ(copy.what(), longer);
    copy = nalo::exception("", 0, "short");
    EXPECT_STREQ(copy.what(), "short");
    copy = nalo::exception("", 0, longer.c_str());
    copy.register_on_thread();
    EXPECT_EQ(nalo::exception::last_on_thread().message, longer);
  }
  EXPECT_EQ(blocks_in_use, blocks);
}

TEST(Dump, CallsTheHandlerUnlessItRunsOnThisThread) {
  static int calls = 0;
  const nalo::exception err("some/file", 5, "text");
  testing::internal::CaptureStderr();
  err.dump();
  const auto standard = nalo::exception::set_dump_handler(nullptr);
  err.dump();
  EXPECT_EQ(nalo::exception::set_dump_handler([](const auto& same) noexcept {
              if (++calls < 5) same.dump();
            }),
            nullptr);
  for (const int dumped : {1, 2}) {
    err.dump();
    EXPECT_EQ(calls, dumped);
  }
  nalo::exception::set_dump_handler(standard);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "some/file:5: text\n");
}

// The unwinding of a cancelled thread could not leave dump().
TEST(Dump, IsNoCancellationPoint) {
  int cancelable = -1;
  std::thread([&] {
    pthread_cancel(pthread_self());
    nalo::exception("", 0, "dumped by a cancelled thread").dump();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelable);
  }).join();
  EXPECT_EQ(cancelable, PTHREAD_CANCEL_ENABLE);
}

TEST(RawChunk, ChecksItsSizeBeforeAskingTheSource) {
  using chunk = nalo::allocate_raw_chunk<wchar_t>;
  failing_source source;
  const nalo::allocator ma(source);
  EXPECT_TRUE(ma == nalo::allocator(source) && ma != nalo::allocator());
  volatile wchar_t* one = chunk(ma);
  EXPECT_EQ(source.bytes(), sizeof *one);
  nalo::free_raw_chunk(one, ma);
  EXPECT_TRUE(one == nullptr && source.bytes() == 0);
  for (const size_t size : {chunk::max_size, chunk::max_size + 1}) {
    try {
      chunk(size, ma);
      ADD_FAILURE() << size;
    } catch (const nalo::allocation_error& error) {
      EXPECT_EQ(error.count(),
                size * (size > chunk::max_size ? 1 : sizeof *one));
    }
    EXPECT_EQ(source.requests(), 2);
  }
}

// Words and lines that fit a string need no memory. Of one that does not fit,
// the string keeps nothing and the buffer all.
template <class String>
void read_without_memory() {
  using Char = typename String::value_type;
  const dump_counter swallowed;
  for (const size_t length : {50u, 300u}) {
    nalo::basic_istringstream<Char> in(
        widened<Char>("a b\n" + std::string(length, 'x') + '\n'));
    String word, line;
    refused = [] { return true; };
    in >> word;
    getline(in, line);
    const auto fitted = in.rdstate();
    getline(in, line);
    refused = [] { return false; };
    EXPECT_EQ(fitted, good);
    EXPECT_EQ(word, widened<Char>("a").c_str());
    EXPECT_EQ(in.rdstate(), bad | fail);
    EXPECT_TRUE(line.empty());
    in.clear();
    EXPECT_TRUE(getline(in, line));
    EXPECT_EQ(line.size(), length);
  }
}
TEST(Memory, LeavesALineThatDoesNotFitAStringInTheBuffer) {
  read_without_memory<nalo::string>();
  read_without_memory<nalo::wstring>();
  read_without_memory<std::string>();
  read_without_memory<std::wstring>();
  read_without_memory<std::basic_string<char, other_traits<char>>>();
}

}  // namespace
