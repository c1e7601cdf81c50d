// Random operations on strings that share chunks, have different memory, get
// parts of one another as arguments and are refused memory, against the
// compiler's own strings and the rules of storage.
#ifndef NALO_TESTS_STRING_MODEL_H
#define NALO_TESTS_STRING_MODEL_H

#include <nalo/string>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "choices.h"
#include "failing_source.h"
#include "scripted_streambuf.h"
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
  bool contains(const auto& what) const {
    return base::find(what) != base::npos;
  }
  template <class From, class To>
  size_t replace_all(const From& from, const To& to) {
    const base what{from}, with{to};
    base result;
    size_t found = 0, pos = 0, at = 0;
    for (; !what.empty() && (at = base::find(what, pos)) != base::npos;
         pos = at + what.size(), ++found) {
      result.append(*this, pos, at - pos).append(with);
    }
    *this = result.append(*this, pos);
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
constexpr size_t kHandOut = 14, kAnew = 20, kSwap = 31, kChanges = 33;
constexpr size_t kAssign = 4, kCopy = 12, kMove = 13, kWrite = 16,
                 kReserve = 20, kShrink = 21, kReplaceAll = 23, kCopyNew = 27,
                 kPartNew = 28, kMakeReadOnly = 30, kMoveAway = 32;

// Changes s, and other when it is moved or swapped. text may lie in any string.
template <class S, class Char>
void change(S& s, S& other, size_t op, const Args<Char>& a,
            std::basic_string_view<Char> text) {
  const std::vector<short> list(text.begin(), text.end());
  const Char* const ptr = text.data();
  // No array is that long.
  const size_t len = a.n2 == S::npos ? a.n2 : text.size();
  const size_t from = std::min(a.pos, s.size());
  const size_t more = a.n > s.size() ? a.n - s.size() : 0;
  const auto first = std::as_const(s).begin() + static_cast<long>(from);
  const auto last = first + static_cast<long>(std::min(a.n, s.size() - from));
  auto&& ma = s.get_allocator();
  // clang-format off
  switch (op) {
    case 0: s += a.ch; break;
    case 1: s.append(ptr, len); break;
    case 2: s.append(a.n, a.ch); break;
    case 3: s += other; break;
    case kAssign: s.assign(ptr, len); break;
    case 5: s.assign(a.n, a.ch); break;
    case 6: s.insert(a.pos, ptr, len); break;
    case 7: s.replace(a.pos, a.n2, ptr, len); break;
    case 8: s.replace(a.pos, a.n2, a.n, a.ch); break;
    case 9: s.resize(a.n, a.ch); break;
    case 10: s.raw_resize(a.n); s.replace(s.size() - more, more, more, a.ch); break;
    case 11: s.clear(); break;
    case kCopy: s = other; break;
    case kMove: if (&s != &other) s = std::move(other); break;
    case kHandOut: s.insert(first, a.n, a.ch); break;
    case 15: s.erase(first, last); break;
    case kWrite: std::replace(s.begin(), s.end(), a.ch, a.ch2); break;
    case 17: s.at(a.pos) = a.ch; break;
    case 18: s[from] = from < s.size() ? a.ch : Char(); break;
    case 19: s.data(); break;
    case kReserve: s.reserve(a.n); break;
    case kShrink: s.shrink_to_fit(); break;
    case 22: s.clear(true); break;
    case kReplaceAll: s.replace_all(a.key, text); break;
    case 24: s = S(ptr, text.size(), ma); break;
    case 25: s = S(a.n, a.ch, ma); break;
    case 26: s = S(list.begin(), list.end(), ma); break;
    case kCopyNew: s = S(other, ma); break;
    case kPartNew: s = S(other, a.pos2 / 50, a.n2, ma); break;
    case 29: s = S(a.ch + s + (other + a.ch2) + s, ma); break;
    case kMakeReadOnly: s = S::c_str(kReadOnly<Char>.data(), 60); break;
    case kSwap: swap(s, other); break;
    case kMoveAway: S gone(std::move(s)); break;
  }
  // clang-format on
}

template <class... T>
std::vector<long> numbers(T... values) {
  return {static_cast<long>(values)...};
}

// What a string returns, and what copies of it become by the other forms of
// changes.
template <class S, class Char>
std::vector<long> query(const S& s, const S& t, const Args<Char>& a,
                        std::basic_string_view<Char> text) {
  using In = std::istreambuf_iterator<Char>;
  const auto& key = a.key;
  const Char* const ptr = key.c_str();
  // GCC 12 ends the program where compare() should raise.
  const size_t pos = std::min(a.pos, s.size()), n = key.size();
  const size_t pos2 = std::min(a.pos2, text.size());
  const std::vector<short> list(text.begin(), text.end());
  const auto hash = std::hash<std::basic_string_view<Char>>();
  std::basic_string<Char> to(s.size() + 1, a.ch2);
  const size_t copied = s.copy(to.data(), n) + s.copy(to.data(), a.n2, pos);

  std::basic_istringstream<Char> in(key);
  S c(s);
  const auto at = [&c, pos] { return c.cbegin() + static_cast<long>(pos); };
  c.replace(at(), c.cend(), text.data(), text.size());
  c.append(list.begin(), list.end()).append(In(in), In()).append(text, pos2);
  c.append(const_cast<Char*>(ptr), n).append(ptr).append(t).append(text);
  ((c += text) += ptr) += a.ch;
  c.push_back(a.ch2);
  c.pop_back();
  c.insert(pos, text).insert(pos, ptr).insert(pos, t).insert(pos, n, a.ch);
  c.insert(pos, text, pos2, a.n2).insert(pos, key, 0).erase(pos, 1);
  c.replace(pos, n, t).replace(pos, n, text).replace(pos, n, ptr);
  c.replace(pos, n, text, pos2, a.n2).replace(pos, n, text, pos2);
  c.replace(at(), at(), text).replace(at(), at(), ptr);
  c.replace(at(), at(), n, a.ch).replace(at(), at(), list.begin(), list.end());
  *c.insert(at(), a.ch2) = a.ch;
  *c.insert(at(), n + 1, a.ch) = a.ch2;
  *c.insert(at(), list.begin(), list.end()) = a.ch2;
  *c.erase(at()) = a.ch2;
  const size_t found = c.replace_all(a.ch, a.ch2) + c.replace_all(key, text);
  (c += a.ch).front() = Char('x');
  std::replace(c.rbegin(), c.rend(), a.ch2, Char('y'));
  const size_t erased = c.erase_all(a.ch) + c.erase_all(key);
  c.append(t).append(1, a.ch).erase(c.size() / 2 + 1);
  c.back() = a.ch;

  const auto sign = [](int order) { return (order > 0) - (order < 0); };
  return numbers(
      s.starts_with(key), s.starts_with(ptr), s.starts_with(a.ch),
      s.ends_with(key), s.ends_with(ptr), s.ends_with(a.ch), s.contains(key),
      s.contains(ptr), s.contains(a.ch), s.contains(t), s.find(key, a.pos),
      s.find(ptr, a.pos, n), s.find(a.ch), s.find(t), s.rfind(key, a.pos),
      s.rfind(ptr, a.pos, n), s.rfind(ptr), s.find_first_of(key, a.pos),
      s.find_first_of(ptr, a.pos, n), s.find_first_of(a.ch),
      s.find_first_not_of(key, a.pos), s.find_first_not_of(ptr, a.pos, n),
      s.find_first_not_of(a.ch), s.find_last_of(key, a.pos),
      s.find_last_of(ptr, a.pos, n), s.find_last_of(a.ch),
      s.find_last_not_of(key, a.pos), s.find_last_not_of(ptr, a.pos, n),
      s.find_last_not_of(a.ch), sign(s.compare(t)), sign(s.compare(ptr)),
      sign(s.compare(pos, a.n, ptr)), sign(s.compare(pos, a.n, ptr, n)),
      sign(s.compare(pos, a.n, text)), sign(s.compare(pos, a.n, text, pos2)),
      s == t, s < t, s == ptr, s < ptr,
      sign(s.compare(pos, a.n, text, pos2, a.n2)), s == text, s < text,
      s.length(), s.empty(), s[pos],
      s.empty() ? 0 : s.front() + s.at(0) + s.back(), copied, hash(to),
      std::hash<decltype(s.substr())>()(s.substr()), hash(s.substr(pos, a.n2)),
      s.cend() - s.cbegin(), s.crend() - s.rbegin(), s.rend() - s.crbegin(),
      hash(c), found, erased, hash(S(text)), hash(S(ptr)),
      hash(S({a.ch, a.ch2})), hash(S(text.begin(), text.end())),
      hash(S(t + a.ch + s + ptr, s.get_allocator())), hash(S(t) = text),
      hash(S(t) = ptr), hash(S(t) = a.ch), hash(S(t) = {a.ch, a.ch2}),
      hash(S(t).assign(text, pos2, a.n2)), hash(S(t).erase()),
      hash(S(t).assign(list.begin(), list.end())));
}

// A chunk comes back when its counter has reached 0.
struct chunk_source : failing_source {
  // When set, it decides for each request whether that is refused.
  std::function<bool()> decide;

  void* allocate(size_t bytes) override {
    if (decide && decide()) refuse_after(0);
    return failing_source::allocate(bytes);
  }
  void deallocate(void* chunk) noexcept override {
    EXPECT_EQ(*static_cast<std::uint64_t*>(chunk), 0u);
    failing_source::deallocate(chunk);
  }
};

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
    SCOPED_TRACE(told(e, op, a, text));
    if (below(4) == 0) {
      EXPECT_EQ(query(e.str, other.str, a, text),
                query(e.model, other.model, a, text));
    }
    const long refused = below(3) ? failing_source::never : long(below(2));
    for (auto& source : sources_) {
      source.refuse_after(refused);
      source.raises = a.n % 2 == 0;
    }
    change_one(e, other, op, a, text);
    for (auto& source : sources_) source.refuse_after(failing_source::never);
    expect_all_right();
  }

 protected:
  // A string and what it should be.
  struct Entry {
    string str;
    Model<Char> model;
  };

  // What a failure is about.
  static testing::Message told(const Entry& e, size_t op, const Args<Char>& a,
                               std::basic_string_view<Char> text) {
    return testing::Message()
           << "change " << op << " of " << shown<Char>(e.model) << " at "
           << a.pos << ", " << a.n << "; " << a.pos2 << ", " << a.n2 << " with "
           << shown(text) << ", " << shown<Char>(a.key);
  }

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
  // Null where there is none.
  static const Char* chunk(const string& s) {
    return !s.rvalue() && s.capacity() > local ? s.c_str() : nullptr;
  }

  void change_one(Entry& e, Entry& other, size_t op, const Args<Char>& a,
                  std::basic_string_view<Char> text) {
    const string& s = e.str;
    const std::basic_string<Char> copy(text);
    const Char *const old = chunk(s), *const others = chunk(other.str);
    const size_t room = s.capacity(), size = other.str.size();
    const bool shared = s.shared(), read_only = s.rvalue();
    const bool takes_read_only = other.str.rvalue();
    const bool finds = !a.key.empty() && s.find(a.key) != s.npos;
    const auto error =
        raised_by([&] { change(e.str, other.str, op, a, text); });
    if (error == "nalo::allocator out of memory" || error == "std::bad_alloc") {
      return;
    }
    if (read_only && op < kSwap) {
      EXPECT_NE(error, "");
      return;
    }
    const auto models = raised_by(
        [&] { change<Model<Char>, Char>(e.model, other.model, op, a, copy); });
    EXPECT_EQ(error.empty(), models.empty());
    if (!error.empty()) return;
    const bool moved = op == kMove || op == kSwap;
    EXPECT_EQ(s.rvalue(), op == kMakeReadOnly || (moved && takes_read_only));
    if (s.rvalue() || op == kMoveAway) return;

    const bool handed_out = op >= kHandOut && op < kAnew;
    if (handed_out) handed_out_.insert(chunk(s));
    const bool same_memory = s.get_allocator() == other.str.get_allocator();
    const bool shares = (op == kCopy || op == kCopyNew || op == kPartNew) &&
                        s.size() == size && same_memory && others &&
                        !handed_out_.count(others);
    const size_t needed = op == kReserve ? std::max(a.n, s.size()) : s.size();
    if (shares || (moved && (same_memory || !others))) {
      EXPECT_EQ(chunk(s), others);
    } else if (op < kAnew && needed > room) {
      EXPECT_EQ(s.capacity(), std::max(needed, room + room / 2 + 1));
    } else if (op == kShrink       ? shared || needed == room
               : op == kReserve    ? !shared && needed <= room
               : op == kReplaceAll ? !finds
                                   : op < kAnew && !shared) {
      EXPECT_EQ(chunk(s), old);
    } else if (op >= kAnew || chunk(s) != old || !old) {
      EXPECT_EQ(s.capacity(), std::max(needed, local));
      EXPECT_TRUE(op > kShrink || !s.shared());
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
      EXPECT_TRUE(std::ranges::equal(str, model))
          << shown<Char>(str) << " instead of " << shown<Char>(model);
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
  std::array<chunk_source, 2> sources_;
  // Two allocators over one source are the same memory.
  std::array<nalo::allocator, 3> allocators_{nalo::allocator(sources_[0]),
                                             nalo::allocator(sources_[0]),
                                             nalo::allocator(sources_[1])};
  std::vector<Entry> all_;
  std::set<const Char*> handed_out_;  // for writing, with their chunks
};

}  // namespace nalo_test::strings

#endif
