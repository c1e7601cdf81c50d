// Random operations on strings that share chunks, have different memory, get
// parts of one another as arguments and are refused memory, against the
// compiler's own strings.
#ifndef NALO_TESTS_STRING_MODEL_H
#define NALO_TESTS_STRING_MODEL_H

#include <nalo/string>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "choices.h"
#include "failing_source.h"
#include "text.h"

namespace nalo_test::strings {

// The arguments of one operation, more than any one uses.
template <class Char>
struct Args {
  size_t pos, n, pos2, n2;
  Char ch, ch2;
  std::basic_string_view<Char> text;  // may lie in any of the strings
  std::basic_string<Char> key;
};

template <class Char>
inline const std::basic_string<Char> kReadOnly(60, Char('r'));

// The operations that only nalo has, and what they come to.
template <class Char>
void replace_all(nalo::basic_string<Char>& s, const Args<Char>& a) {
  s.replace_all(a.key, a.text);
}
template <class Char>
void replace_all(std::basic_string<Char>& s, const Args<Char>& a) {
  for (size_t pos = 0; !a.key.empty() && (pos = s.find(a.key, pos)) != s.npos;
       pos += a.text.size()) {
    s.replace(pos, a.key.size(), a.text);
  }
}
template <class Char>
void make_read_only(nalo::basic_string<Char>& s) {
  s = s.c_str(kReadOnly<Char>.data(), kReadOnly<Char>.size());
}
template <class Char>
void make_read_only(std::basic_string<Char>& s) {
  s = kReadOnly<Char>;
}
template <class Char>
void move_to(nalo::basic_string<Char>& s, nalo::basic_string<Char>& from) {
  s = std::move(from);
}
template <class Char>
void move_to(std::basic_string<Char>& s, std::basic_string<Char>& from) {
  s = from;
  if (&s != &from) from.clear();
}
template <class Char>
void give_back(nalo::basic_string<Char>& s) {
  s.clear(true);
}
template <class Char>
void give_back(std::basic_string<Char>& s) {
  s.clear();
}

constexpr size_t kWrite = 39, kMove = 40, kSwap = 41, kMakeReadOnly = 42,
                 kCopy = 43, kChanges = 48;

// Changes s, and other when it is moved or swapped. Returns what the operation
// returned as a number.
template <class S, class Char>
size_t change(S& s, S& other, size_t op, const Args<Char>& a) {
  const std::basic_string<Char> copy(a.text);
  const Char* const c_str = copy.c_str();
  const std::vector<short> list(copy.begin(), copy.end());
  const Char* const ptr = a.text.data();
  const size_t len = a.text.size();
  const size_t from = std::min(a.pos, s.size());
  const auto first = std::as_const(s).begin() + static_cast<long>(from);
  const auto last = first + static_cast<long>(std::min(a.n, s.size() - from));
  const auto offset = [&s](auto it) {
    return static_cast<size_t>(it - s.begin());
  };
  // clang-format off
  switch (op) {
    case 0: s += a.ch; break;
    case 1: s.append(ptr, len); break;
    case 2: s.append(a.n, a.ch); break;
    case 3: s += a.text; break;
    case 4: s += c_str; break;
    case 5: s.append(a.text, a.pos2, a.n2); break;
    case 6: s.append(list.begin(), list.end()); break;
    case 7: s.append(a.text.rbegin(), a.text.rend()); break;
    case 8: s.assign(ptr, len); break;
    case 9: s = a.text; break;
    case 10: s.assign(a.text, a.pos2, a.n2); break;
    case 11: s.assign(a.n, a.ch); break;
    case 12: s.assign(list.begin(), list.end()); break;
    case 13: s = c_str; break;
    case 14: s = a.ch; break;
    case 15: s.insert(a.pos, ptr, len); break;
    case 16: s.insert(a.pos, a.text); break;
    case 17: s.insert(a.pos, a.n, a.ch); break;
    case 18: s.insert(a.pos, a.text, a.pos2, a.n2); break;
    case 19: s.insert(a.pos, c_str); break;
    case 20: return offset(s.insert(first, a.ch));
    case 21: return offset(s.insert(first, a.n, a.ch));
    case 22: return offset(s.insert(first, list.begin(), list.end()));
    case 23: s.replace(a.pos, a.n2, ptr, len); break;
    case 24: s.replace(a.pos, a.n2, a.text); break;
    case 25: s.replace(a.pos, a.n2, a.n, a.ch); break;
    case 26: s.replace(a.pos, a.n, a.text, a.pos2, a.n2); break;
    case 27: s.replace(a.pos, a.n, c_str); break;
    case 28: s.replace(first, last, ptr, len); break;
    case 29: s.replace(first, last, a.text); break;
    case 30: s.replace(first, last, a.n, a.ch); break;
    case 31: s.replace(first, last, c_str); break;
    case 32: s.replace(first, last, list.begin(), list.end()); break;
    case 33: s.erase(a.pos, a.n2); break;
    case 34: return offset(s.erase(first, last));
    case 35: s.resize(a.n, a.ch); break;
    case 36: s.clear(); break;
    case 37: s.reserve(a.n); break;
    case 38: s.shrink_to_fit(); break;
    case kWrite: std::replace(s.begin(), s.end(), a.ch, a.ch2); break;
    case kMove: move_to(s, other); break;
    case kSwap: s.swap(other); break;
    case kMakeReadOnly: make_read_only(s); break;
    case kCopy: s = other; break;
    case 44: s += other; break;
    case 45: s = S(other + a.ch + s); break;
    case 46: replace_all(s, a); break;
    case 47: give_back(s); break;
  }
  // clang-format on
  return 0;
}

constexpr size_t kQueries = 18;

template <class S, class Char>
size_t query(const S& s, size_t op, const Args<Char>& a) {
  const auto& key = a.key;
  // GCC 12 ends the program where compare() should raise for these.
  const size_t pos = std::min(a.pos, s.size());
  const size_t pos2 = std::min(a.pos2, a.text.size());
  const auto sign = [](int order) {
    return static_cast<size_t>(1 + (order > 0) - (order < 0));
  };
  // clang-format off
  switch (op) {
    case 0: return s.find(key, a.pos);
    case 1: return s.rfind(key, a.pos);
    case 2: return s.find_first_of(key, a.pos);
    case 3: return s.find_last_of(key, a.pos);
    case 4: return s.find_first_not_of(key, a.pos);
    case 5: return s.find_last_not_of(key, a.pos);
    case 6: return s.find(a.ch, a.pos);
    case 7: return s.rfind(a.ch) + s.find_last_not_of(a.ch);
    case 8: return s.find(key.c_str(), a.pos, key.size());
    case 9: return s.rfind(key.c_str()) + s.find(key.c_str());
    case 10: return sign(s.compare(a.text));
    case 11: return sign(s.compare(pos, a.n, a.text));
    case 12: return sign(s.compare(pos, a.n, a.text, pos2, a.n2));
    case 13: return s < a.text ? 0u : s == a.text ? 1u : 2u;
    case 14: return sign(s.compare(key.c_str())) + (s == key.c_str() ? 3 : 0);
    case 15: return static_cast<size_t>(s.at(a.pos));
    case 16: return std::hash<S>()(s.substr(a.pos, a.n2));
    case 17: {
      std::basic_string<Char> to(s.size() + 1, a.ch2);
      return s.copy(to.data(), a.n2, a.pos) + std::hash<decltype(to)>()(to);
    }
  }
  // clang-format on
  return 0;
}

template <class Run>
std::string outcome_of(Run run) {
  try {
    run();
    return "done";
  } catch (const nalo::out_of_range&) {
    return "out of range";
  } catch (const std::out_of_range&) {
    return "out of range";
  } catch (const nalo::allocation_error&) {
    return "refused";
  } catch (const nalo::rvalue_error&) {
    return "read only";
  }
}

template <class Char>
class comparison {
  using string = nalo::basic_string<Char>;
  using model_string = std::basic_string<Char>;

 public:
  explicit comparison(choices& random) : random_(random) {
    for (size_t i = 0; i < 6; ++i) {
      all_.push_back({string(allocators_[i % 3]), i % 3 / 2, {}, false});
    }
  }

  // Runs one operation with a new text, or a part of any of the strings.
  void step() {
    Entry& e = all_[below(all_.size())];
    Entry& other = all_[below(all_.size())];
    const model_string fresh = letters(below(60));
    const std::basic_string_view<Char> whole = all_[below(all_.size())].str;
    const size_t begin = below(whole.size() + 1), count = length();
    const Args<Char> a{length(),
                       below(90),
                       length() % 100,
                       length(),
                       letter(),
                       letter(),
                       below(2) ? fresh : whole.substr(begin, count),
                       letters(below(3))};
    const model_string text(a.text);
    Args<Char> same = a;
    same.text = text;
    if (below(3) == 0) {
      for (auto& source : sources_) {
        source.refuse_after(static_cast<long>(below(2)));
      }
    }
    if (below(8) == 0) {
      query_one(e, below(kQueries), a);
    } else {
      // Copies and what is written to them lead to most of the storage.
      const size_t ops[] = {below(kChanges), below(kChanges), kCopy, kWrite};
      change_one(e, other, ops[below(4)], a, same);
    }
    for (auto& source : sources_) source.refuse_after(failing_source::never);
    // A read-only string comes free when it is moved away.
    if (e.read_only && below(3) == 0) {
      string gone(std::move(e.str));
      e.model.clear();
      e.read_only = false;
    }
    expect_all_right();
  }

  // How many operations came to which end.
  std::map<std::string, int> outcomes_;

 private:
  // A string and what it should be.
  struct Entry {
    string str;
    size_t source;
    model_string model;
    bool read_only;
  };

  size_t below(size_t n) { return random_.below(n); }
  // Mostly the length of a short text, sometimes behind the end, or npos.
  size_t length() {
    const size_t kind = below(24);
    return kind == 0 ? string::npos : below(kind < 4 ? 150 : 50);
  }
  Char letter() {
    return random_.one_of({Char('a'), Char('b'), Char(), Char(0xE9)});
  }
  model_string letters(size_t n) {
    return random_.text<Char>(n, widened<Char>({"ab\0\xE9", 4}));
  }

  void query_one(Entry& e, size_t op, const Args<Char>& a) {
    size_t got = 0, want = 0;
    const auto outcome =
        outcome_of([&] { got = query(std::as_const(e.str), op, a); });
    EXPECT_EQ(outcome, outcome_of([&] { want = query(e.model, op, a); }));
    EXPECT_EQ(got, want) << "query " << op << " at " << a.pos << ", " << a.n
                         << " for \"" << shown<Char>(a.key) << "\" in \""
                         << shown<Char>(e.model) << "\"";
  }

  void change_one(Entry& e, Entry& other, size_t op, const Args<Char>& a,
                  const Args<Char>& same) {
    SCOPED_TRACE(testing::Message()
                 << "change " << op << " of \"" << shown<Char>(e.model)
                 << "\" at " << a.pos << ", " << a.n << "; " << a.pos2 << ", "
                 << a.n2 << " with \"" << shown(same.text) << "\", \""
                 << shown<Char>(other.model) << "\"");
    size_t got = 0, want = 0;
    const std::string outcome =
        outcome_of([&] { got = change(e.str, other.str, op, a); });
    ++outcomes_[outcome];
    if (outcome == "refused") return;
    if (outcome == "read only" || (e.read_only && op != kSwap)) {
      // A position behind the end of an argument is found first.
      EXPECT_TRUE(e.read_only && outcome != "done") << outcome;
      return;
    }
    EXPECT_EQ(outcome, outcome_of([&] {
                want = change(e.model, other.model, op, same);
              }));
    EXPECT_EQ(got, want);
    if (op == kSwap) std::swap(e.read_only, other.read_only);
    if (op == kMove) e.read_only = std::exchange(other.read_only, false);
    if (op == kMakeReadOnly) e.read_only = true;
  }

  // Every string has its text and a chunk that it says it shares when another
  // one does; no chunk is lost and none is kept in vain.
  void expect_all_right() {
    std::array<std::map<const Char*, size_t>, 2> users;
    const auto on_heap = [](const string& s) {
      return !s.rvalue() && s.buffer_size() * sizeof(Char) > 40;
    };
    for (const Entry& e : all_) {
      EXPECT_EQ(shown<Char>(e.str), shown<Char>(e.model));
      EXPECT_EQ(e.str.rvalue(), e.read_only);
      EXPECT_LE(e.str.size(), e.str.capacity());
      EXPECT_TRUE(e.read_only || e.str.c_str()[e.str.size()] == Char());
      if (on_heap(e.str)) ++users[e.source][e.str.c_str()];
    }
    for (const Entry& e : all_) {
      EXPECT_EQ(e.str.shared(),
                on_heap(e.str) && users[e.source][e.str.c_str()] > 1);
    }
    EXPECT_EQ(sources_[0].live(), users[0].size());
    EXPECT_EQ(sources_[1].live(), users[1].size());
  }

  choices& random_;
  std::array<failing_source, 2> sources_;
  // Two allocators over one source are the same memory.
  std::array<nalo::allocator, 3> allocators_{nalo::allocator(sources_[0]),
                                             nalo::allocator(sources_[0]),
                                             nalo::allocator(sources_[1])};
  std::vector<Entry> all_;
};

}  // namespace nalo_test::strings

#endif
