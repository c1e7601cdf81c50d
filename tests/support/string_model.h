// Random operations on strings that share chunks, have different memory, get
// parts of one another as arguments and are refused memory, against the
// compiler's own strings and the rules of storage.
#ifndef NALO_TESTS_STRING_MODEL_H
#define NALO_TESTS_STRING_MODEL_H

#include <nalo/string>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeindex>
#include <utility>
#include <vector>

#include "choices.h"
#include "failing_source.h"
#include "text.h"

namespace nalo_test::strings {

template <class Char>
inline const std::basic_string<Char> kReadOnly(60, Char('r'));

// The compiler's string with what only nalo has.
template <class Char>
struct Model : std::basic_string<Char> {
  using base = std::basic_string<Char>;
  using base::base;
  using base::c_str;
  using base::operator=;

  static Model c_str(const Char* ptr, size_t n) { return Model(ptr, n); }
  void clear(bool = false) { base::clear(); }
  void raw_resize(size_t n) { base::resize(n); }
  template <class From, class To>
  size_t replace_all(const From& from, const To& to) {
    const base what{from}, with{to};
    size_t found = 0, pos = 0;
    while (!what.empty() && (pos = base::find(what, pos)) != base::npos) {
      base::replace(pos, what.size(), with);
      pos += with.size();
      ++found;
    }
    return found;
  }
  template <class What>
  size_t erase_all(const What& what) {
    return replace_all(what, base());
  }
};

// The arguments of one operation, more than any one uses.
template <class Char>
struct Args {
  size_t pos, n, pos2, n2;
  Char ch, ch2;
  std::basic_string<Char> key;
};

// Operations from here on hand out elements for writing, make a string anew,
// and treat read-only strings as others.
constexpr size_t kHandOut = 45, kAnew = 56, kSwap = 71, kChanges = 74;
constexpr size_t kReserve = 40, kShrink = 41, kReplaceAll = 42, kWrite = 50,
                 kCopyNew = 63, kPartNew = 64, kCopy = 68, kMove = 69,
                 kMakeReadOnly = 70, kTakeNew = 72, kMoveAway = 73;

// Changes s, and other when it is moved or swapped. text may lie in any string.
// Returns what the operation returned as a number.
template <class S, class Char>
size_t change(S& s, S& other, size_t op, const Args<Char>& a,
              std::basic_string_view<Char> text) {
  using In = std::istreambuf_iterator<Char>;
  const std::basic_string<Char> copy(text);
  std::basic_istringstream<Char> in(op == 9 ? copy : a.key);
  const Char* const c_str = copy.c_str();
  const std::vector<short> list(copy.begin(), copy.end());
  const Char* const ptr = text.data();
  // No array is that long.
  const size_t len = a.n2 == S::npos ? a.n2 : text.size();
  const size_t from = std::min(a.pos, s.size());
  const size_t more = a.n > s.size() ? a.n - s.size() : 0;
  const auto first = std::as_const(s).begin() + static_cast<long>(from);
  const auto last = first + static_cast<long>(std::min(a.n, s.size() - from));
  const auto offset = [&s](auto it) {
    return static_cast<size_t>(it - s.begin());
  };
  auto&& ma = s.get_allocator();
  // clang-format off
  switch (op) {
    case 0: s += a.ch; break;
    case 1: s.append(ptr, len); break;
    case 2: s.append(const_cast<Char*>(ptr), len); break;
    case 3: s.append(a.n, a.ch); break;
    case 4: s += text; break;
    case 5: s += c_str; break;
    case 6: s += other; break;
    case 7: s.append(text, a.pos2); break;
    case 8: s.append(list.begin(), list.end()); break;
    case 9: s.append(In(in), In()); break;
    case 10: s.assign(ptr, len); break;
    case 11: s = text; break;
    case 12: s.assign(text, a.pos2, a.n2); break;
    case 13: s.assign(a.n, a.ch); break;
    case 14: s.assign(list.begin(), list.end()); break;
    case 15: s = c_str; break;
    case 16: s = a.ch; break;
    case 17: s = {a.ch, a.ch2}; break;
    case 18: s.insert(a.pos, ptr, len); break;
    case 19: s.insert(a.pos, other); break;
    case 20: s.insert(a.pos, text); break;
    case 21: s.insert(a.pos, a.n, a.ch); break;
    case 22: s.insert(a.pos, text, a.pos2, a.n2); break;
    case 23: s.insert(a.pos, c_str); break;
    case 24: s.replace(a.pos, a.n2, ptr, len); break;
    case 25: s.replace(a.pos, a.n2, other); break;
    case 26: s.replace(a.pos, a.n2, a.n, a.ch); break;
    case 27: s.replace(a.pos, a.n, text, a.pos2, a.n2); break;
    case 28: s.replace(a.pos, a.n, c_str); break;
    case 29: s.replace(first, last, ptr, len); break;
    case 30: s.replace(first, last, text); break;
    case 31: s.replace(first, last, a.n, a.ch); break;
    case 32: s.replace(first, last, c_str); break;
    case 33: s.replace(first, last, list.begin(), list.end()); break;
    case 34: s.erase(a.pos, a.n2); break;
    case 35: s.erase(a.pos); break;
    case 36: if (s.empty()) s.erase(); else s.pop_back(); break;
    case 37: s.resize(a.n, a.ch); break;
    case 38: s.raw_resize(a.n); s.replace(s.size() - more, more, more, a.ch); break;
    case 39: s.clear(); break;
    case kReserve: s.reserve(a.n); break;
    case kShrink: s.shrink_to_fit(); break;
    case kReplaceAll: return s.replace_all(a.key, text);
    case 43: return s.replace_all(a.ch, a.ch2);
    case 44: return a.n2 % 2 ? s.erase_all(a.ch) : s.erase_all(a.key);
    case kHandOut: return offset(s.insert(first, a.ch));
    case 46: return offset(s.insert(first, a.n, a.ch));
    case 47: return offset(s.insert(first, list.begin(), list.end()));
    case 48: return offset(s.erase(first, last));
    case 49: return offset(from < s.size() ? s.erase(first) : s.end());
    case kWrite: std::replace(s.begin(), s.end(), a.ch, a.ch2); break;
    case 51: std::replace(s.rbegin(), s.rend(), a.ch, a.ch2); break;
    case 52: std::replace(s.data(), s.data() + s.size(), a.ch, a.ch2); break;
    case 53: s[from] = from < s.size() ? a.ch : Char(); break;
    case 54: s.at(a.pos) = a.ch; break;
    case 55: if (s.empty()) s.data(); else s.front() = s.back() = a.ch; break;
    case kAnew: s = S(ptr, text.size(), ma); break;
    case 57: s = S(text, ma); break;
    case 58: s = S(c_str, ma); break;
    case 59: s = S(a.n, a.ch, ma); break;
    case 60: s = S(list.begin(), list.end(), ma); break;
    case 61: s = S(text.begin(), text.end(), ma); break;
    case 62: s = S({a.ch, a.ch2}, ma); break;
    case kCopyNew: s = S(other, ma); break;
    case kPartNew: s = S(other, a.pos2 / 50, a.n2, ma); break;
    case 65: s = S(other + a.ch + s + c_str, ma); break;
    case 66: s = S(a.ch + s + (other + a.ch2), ma); break;
    case 67: s.clear(true); break;
    case kCopy: s = other; break;
    case kMove: if (&s != &other) s = std::move(other); break;
    case kMakeReadOnly: s = S::c_str(kReadOnly<Char>.data(), 60); break;
    case kSwap: swap(s, other); break;
    case kTakeNew: S(std::move(other), ma).swap(s); break;
    case kMoveAway: S gone(std::move(s)); break;
  }
  // clang-format on
  return 0;
}

template <class... T>
std::vector<long> numbers(T... values) {
  return {static_cast<long>(values)...};
}

template <class S, class Char>
std::vector<long> query(const S& s, const S& t, const Args<Char>& a,
                        std::basic_string_view<Char> text) {
  const auto& key = a.key;
  const Char* const ptr = key.c_str();
  // GCC 12 ends the program where compare() should raise.
  const size_t pos = std::min(a.pos, s.size()), n = key.size();
  const size_t pos2 = std::min(a.pos2, text.size());
  const auto sign = [](int order) { return (order > 0) - (order < 0); };
  const auto hash = [](const auto& str) {
    return std::hash<std::decay_t<decltype(str)>>()(str);
  };
  std::basic_string<Char> to(s.size() + 1, a.ch2);
  s.copy(to.data(), n);
  const size_t copied = s.copy(to.data(), a.n2, pos);
  return numbers(
      s.find(key, a.pos), s.find(ptr, a.pos, n), s.find(a.ch), s.find(ptr),
      s.rfind(key, a.pos), s.rfind(ptr, a.pos, n), s.rfind(a.ch), s.find(t),
      s.find_first_of(key, a.pos), s.find_first_of(ptr, a.pos, n),
      s.find_first_of(a.ch), s.find_first_not_of(key, a.pos),
      s.find_first_not_of(ptr, a.pos, n), s.find_first_not_of(a.ch),
      s.find_last_of(key, a.pos), s.find_last_of(ptr, a.pos, n),
      s.find_last_of(a.ch), s.find_last_not_of(key, a.pos),
      s.find_last_not_of(ptr, a.pos, n), s.find_last_not_of(a.ch),
      sign(s.compare(t)), sign(s.compare(ptr)), sign(s.compare(pos, a.n, ptr)),
      sign(s.compare(pos, a.n, ptr, n)), sign(s.compare(pos, a.n, text)),
      sign(s.compare(pos, a.n, text, pos2)), s == t, s < t, s == ptr, s < ptr,
      sign(s.compare(pos, a.n, text, pos2, a.n2)), s == text, s < text,
      s.length(), s.empty(), s[pos],
      s.empty() ? 0 : s.front() + s.at(0) + s.back(), hash(s.substr()),
      hash(s.substr(pos)), hash(s.substr(pos, a.n2)), copied, hash(to),
      s.end() - s.begin(), s.cend() - s.cbegin(), s.rend() - s.rbegin(),
      s.crend() - s.crbegin());
}

// The type of the error that run raises; void when there is none.
template <class Run>
std::type_index outcome_of(Run run) {
  try {
    run();
    return typeid(void);
  } catch (const nalo::overflow_error&) {  // in the standard's, the same
    return typeid(nalo::underflow_error);
  } catch (const nalo::exception& exc) {
    return typeid(exc);
  } catch (const std::out_of_range&) {
    return typeid(nalo::out_of_range);
  } catch (const std::length_error&) {
    return typeid(nalo::underflow_error);
  }
}

template <class Char>
class comparison {
  using string = nalo::basic_string<Char>;

 public:
  explicit comparison(choices& random) : random_(random) {
    for (size_t i = 0; i < 6; ++i) {
      all_.push_back({string(allocators_[i % 3]), {}});
    }
  }

  // Runs one operation with a new text, or a part of any of the strings.
  void step() {
    Entry& e = all_[below(all_.size())];
    Entry& other = all_[below(all_.size())];
    const auto fresh = letters(below(60));
    std::basic_string_view<Char> text = all_[below(all_.size())].str;
    const size_t begin = below(text.size() + 1), count = length();
    // The zero behind a string is a text of one character.
    if (begin == text.size()) text = {text.data(), begin + 1};
    text = below(2) ? fresh : text.substr(begin, count);
    const Args<Char> a{length(), length(), length() % 100,   length(),
                       letter(), letter(), letters(below(3))};
    // Copies and what is written to them lead to most of the storage.
    const size_t ops[] = {below(kChanges), below(kChanges), kCopy, kWrite};
    size_t op = ops[below(4)];
    if (e.str.rvalue() && below(10) == 0) op = kMoveAway;
    // What the standard's string is after a move to itself is unspecified.
    if (op == kMove && &e == &other) op = kCopy;
    SCOPED_TRACE(testing::Message()
                 << "change " << op << " of \"" << shown<Char>(e.model)
                 << "\" at " << a.pos << ", " << a.n << "; " << a.pos2 << ", "
                 << a.n2 << " with \"" << shown(text) << "\", \""
                 << shown<Char>(other.model) << "\"");
    if (below(4) == 0) {
      EXPECT_EQ(query(std::as_const(e.str), std::as_const(other.str), a, text),
                query(e.model, other.model, a, text));
    }
    const long refused = below(3) ? failing_source::never : long(below(2));
    for (auto& source : sources_) source.refuse_after(refused);
    change_one(e, other, op, a, text);
    for (auto& source : sources_) source.refuse_after(failing_source::never);
    expect_all_right();
  }

  // How many operations came to which end.
  std::map<std::type_index, int> outcomes_;

 private:
  // A string and what it should be.
  struct Entry {
    string str;
    Model<Char> model;
  };

  // How a string stored its text before an operation.
  struct Storage {
    const Char* chunk;  // null where there is none
    size_t size, capacity;
    bool shared, read_only;
  };

  static constexpr size_t local = 40 / sizeof(Char) - 1;

  size_t below(size_t n) { return random_.below(n); }
  // Mostly the length of a short text, sometimes behind the end, npos, or near
  // where sums wrap around.
  size_t length() {
    const size_t kind = below(24), npos = string::npos;
    if (kind != 0) return below(kind < 4 ? 150 : 50);
    return random_.one_of({npos, npos, npos / 2, npos / sizeof(Char)}) -
           below(2) * below(99);
  }
  Char letter() {
    return random_.one_of({Char('a'), Char('b'), Char(), Char(0xE9)});
  }
  std::basic_string<Char> letters(size_t n) {
    return random_.text<Char>(n, widened<Char>({"ab\0\xE9", 4}));
  }
  static const Char* chunk(const string& s) {
    return !s.rvalue() && s.capacity() > local ? s.c_str() : nullptr;
  }
  static Storage storage(const string& s) {
    return {chunk(s), s.size(), s.capacity(), s.shared(), s.rvalue()};
  }

  void change_one(Entry& e, Entry& other, size_t op, const Args<Char>& a,
                  std::basic_string_view<Char> text) {
    const std::basic_string<Char> copy(text);
    const Storage was = storage(e.str), others = storage(other.str);
    const std::type_index done = typeid(void);
    size_t got = 0, want = 0;
    const std::type_index outcome =
        outcome_of([&] { got = change(e.str, other.str, op, a, text); });
    ++outcomes_[outcome];
    if (outcome == typeid(nalo::allocation_error)) return;
    if (was.read_only && op < kSwap) {
      // A position behind the end of an argument is found first.
      EXPECT_NE(outcome.name(), done.name());
      return;
    }
    const auto model = [&] {
      want = change<Model<Char>, Char>(e.model, other.model, op, a, copy);
    };
    EXPECT_EQ(outcome.name(), outcome_of(model).name());
    EXPECT_EQ(got, want);
    if (outcome != done) return;
    if (op >= kHandOut && op < kAnew) handed_out_.insert(chunk(e.str));
    const bool moved = op == kMove || op == kSwap || op == kTakeNew;
    EXPECT_EQ(e.str.rvalue(),
              op == kMakeReadOnly || (moved && others.read_only));
    if (e.str.rvalue() || op == kMoveAway) return;

    // A text stays in its storage where that suffices and is not shared. Else
    // it gets exactly what it needs when it is made anew or was shared, and
    // half as much again at least when it grows.
    const string& s = e.str;
    const bool same_memory = s.get_allocator() == other.str.get_allocator();
    const bool shares = same_memory && others.chunk &&
                        !handed_out_.count(others.chunk) &&
                        s.size() == others.size &&
                        (op == kCopy || op == kCopyNew || op == kPartNew);
    const size_t needed = op == kReserve ? std::max(a.n, s.size()) : s.size();
    const size_t room = op == kTakeNew ? local : was.capacity;
    const bool fits = needed <= room;
    const bool unshared =
        was.shared &&
        (op == kReserve || (op != kShrink && chunk(s) != was.chunk));
    const bool anew = (op >= kAnew && op < kCopy) || op == kSwap ||
                      (op >= kReplaceAll && op < kHandOut && got != 0) ||
                      (op == kShrink && !was.shared && was.size < room) ||
                      (op == kReserve && !fits);
    if (shares || (moved && (same_memory || !others.chunk))) {
      EXPECT_EQ(s.capacity(), others.capacity);
      EXPECT_EQ(chunk(s), others.chunk);
    } else if (anew || (fits && unshared)) {
      EXPECT_EQ(s.capacity(), std::max(needed, local));
    } else if (fits) {
      EXPECT_EQ(s.capacity(), room);
      EXPECT_TRUE(was.shared || op > kAnew || chunk(s) == was.chunk);
    } else {
      EXPECT_EQ(s.capacity(), std::max(needed, room + room / 2 + 1));
    }
  }

  // Every string has its text and a chunk that it says it shares when another
  // one does; no chunk is lost and none is kept in vain.
  void expect_all_right() {
    std::array<size_t, 2> bytes{};
    std::map<const Char*, size_t> users;
    for (const auto& [str, model] : all_) {
      if (chunk(str) && users[chunk(str)]++ == 0) {
        bytes[str.get_allocator() == allocators_[2]] +=
            8 + str.buffer_size() * sizeof(Char);
      }
      EXPECT_EQ(shown<Char>(str), shown<Char>(model));
      EXPECT_EQ(str.byte_size(), model.size() * sizeof(Char));
      EXPECT_TRUE(str.rvalue() ? str.capacity() == str.size()
                               : str.elem(str.size()) == Char());
    }
    for (const Entry& e : all_) {
      EXPECT_EQ(e.str.shared(), chunk(e.str) && users[chunk(e.str)] > 1);
    }
    std::erase_if(handed_out_, [&](auto text) { return !users.count(text); });
    EXPECT_EQ(sources_[0].bytes(), bytes[0]);
    EXPECT_EQ(sources_[1].bytes(), bytes[1]);
  }

  choices& random_;
  std::array<failing_source, 2> sources_;
  // Two allocators over one source are the same memory.
  std::array<nalo::allocator, 3> allocators_{nalo::allocator(sources_[0]),
                                             nalo::allocator(sources_[0]),
                                             nalo::allocator(sources_[1])};
  std::vector<Entry> all_;
  std::set<const Char*> handed_out_;  // for writing, with their chunks
};

}  // namespace nalo_test::strings

#endif
