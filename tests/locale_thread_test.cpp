// Locales that threads copy, make, replace and destroy at the same time.
#include <nalo/base/numpunct>
#include <nalo/locale>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

namespace {

using nalo::locale;

constexpr int kThreads = 4;
constexpr int kRounds = 2000;

template <class Work>
void run_threads(Work work) {
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      ++ready;
      while (ready < kThreads) std::this_thread::yield();
      work(number);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// The dead of its class: no facet is deleted twice or while it is in use.
template <int Class>
struct marked : locale::facet {
  explicit marked(int value) : facet(0), value_(value) { ++alive; }
  ~marked() override {
    value_ = -1;
    --alive;
  }
  int value_;
  static inline std::atomic<int> alive{0};
  static inline locale::id id;
};

TEST(ThreadLocale, ShareFacetsAndSets) {
  const locale shared(locale::classic(), new marked<0>(7));
  run_threads([&](int number) {
    locale mine;
    for (int round = 0; round < kRounds; ++round) {
      mine = shared;
      const locale more(mine, new marked<1>(number));
      const locale mixed(locale::classic(), more, locale::all);
      const locale both = more.without_<marked<0>>().combine<marked<0>>(mine);
      ASSERT_EQ(nalo::use_facet<marked<0>>(both).value_, 7);
      ASSERT_EQ(nalo::use_facet<marked<1>>(both).value_, number);
      ASSERT_FALSE(nalo::has_facet<marked<0>>(mixed));
      mine = locale::classic();
    }
  });
  EXPECT_EQ(marked<0>::alive, 1);
  EXPECT_EQ(marked<1>::alive, 0);
}

TEST(ThreadLocale, ReplaceTheGlobalOne) {
  run_threads([](int number) {
    for (int round = 0; round < kRounds; ++round) {
      const locale client(locale(), new marked<2>(number));
      const locale earlier =
          locale::global(round % 3 == 0 ? locale::classic() : client);
      for (const locale& loc : {locale(), earlier}) {
        if (!nalo::has_facet<marked<2>>(loc)) continue;
        const int value = nalo::use_facet<marked<2>>(loc).value_;
        ASSERT_TRUE(0 <= value && value < kThreads) << value;
      }
    }
  });
  locale::global(locale::classic());
  EXPECT_EQ(marked<2>::alive, 0);
}

// Gives an index to the id of a class while other threads do the same.
template <int Class>
void use_first(int number) {
  const locale loc(locale::classic(), new marked<Class>(number));
  ASSERT_EQ(nalo::use_facet<marked<Class>>(loc).value_, number);
}

TEST(ThreadLocale, AgreeOnTheIdsOfFacets) {
  run_threads([](int number) {
    [&]<int... Class>(std::integer_sequence<int, Class...>) {
      (use_first<100 + Class>(number), ...);
      locale all;
      ((all = locale(all, new marked<100 + Class>(Class))), ...);
      EXPECT_TRUE(
          ((nalo::use_facet<marked<100 + Class>>(all).value_ == Class) && ...));
    }
    (std::make_integer_sequence<int, 60>());
  });
}

}  // namespace
