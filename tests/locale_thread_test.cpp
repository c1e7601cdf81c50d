// Locales that threads copy, make, replace and destroy at the same time.
#include <nalo/locale>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>
#include <utility>
#include <vector>

namespace {

using nalo::locale;

template <class Work>
void run_threads(Work work) {
  std::latch start(4);
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      work();
    });
  }
}

std::atomic<int> alive = 0;
template <int Class>
struct client : locale::facet {
  client() : facet(0) { ++alive; }
  ~client() override { --alive; }
  int value = Class;
  static inline locale::id id;
};
template <int Class>
bool is_in(const locale& loc) {
  return nalo::use_facet<client<Class>>(loc).value == Class;
}

TEST(ThreadLocale, ShareFacetsAndReplaceTheGlobalOne) {
  {
    const locale shared(locale::classic(), new client<0>);
    run_threads([&] {
      for (int round = 0; round < 2000; ++round) {
        const locale more(shared, new client<1>);
        const locale mixed(locale::classic(), more, locale::all);
        const locale both =
            more.without_<client<0>>().combine<client<0>>(shared);
        ASSERT_TRUE(is_in<0>(both) && is_in<1>(both));
        ASSERT_FALSE(nalo::has_facet<client<0>>(mixed));
        const locale earlier =
            locale::global(round % 3 == 0 ? locale::classic() : more);
        for (const locale& loc : {locale(), earlier}) {
          ASSERT_TRUE(loc.is_classic_() || is_in<1>(loc));
        }
      }
    });
    locale::global(locale::classic());
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
}

TEST(ThreadLocale, AgreeOnTheIdsOfFacets) {
  run_threads([] {
    [&]<int... Class>(std::integer_sequence<int, Class...>) {
      locale all;
      ((all = locale(all, new client<100 + Class>)), ...);
      EXPECT_TRUE((is_in<100 + Class>(all) && ...));
    }
    (std::make_integer_sequence<int, 60>());
  });
}

}  // namespace
