// Random operations on strings that share chunks, use different memory, take
// parts of one another as arguments and run out of memory. The results are
// compared with std::basic_string, the storage with the rules for it.
#pragma once

#include <array>

#include "common.h"

namespace nalo_test::strings {

template <class Char>
inline const std::basic_string<Char> lent(60, Char('r'));

// std::basic_string with the members that only nalo's string has.
template <class Char>
struct Model : std::basic_string<Char> {
  using base = std::basic_string<Char>;
  using base::base;
  using base::c_str;
  using base::operator=;

  static Model c_str(const Char* ptr, size_t n) { return Model(ptr, n); }
  void clear(bool = false) { base::clear(); }
  void raw_resize(size_t n) { base::resize(n); }
  bool contains(const auto& x) const { return base::find(x) != base::npos; }
  size_t replace_all(const auto& from, const auto& to) {
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
  size_t erase_all(const auto& what) { return replace_all(what, base()); }
};

// The arguments for any operation. The text may be a part of any string.
template <class Char>
struct Args {
  size_t pos = 0, n = 0, pos2 = 0, n2 = 0;
  Char ch = {}, ch2 = {};
  std::basic_string<Char> key = {};
  std::basic_string_view<Char> text = {};
  // Sometimes npos, which is longer than any array.
  const size_t len = n2 == text.npos ? n2 : text.size();
  const size_t from = std::min(pos2, text.size());
  const Char* const ptr = key.c_str();
  const std::vector<short> list{text.begin(), text.end()};
};
#define UNPACKED(a)                                                        \
  using Char [[maybe_unused]] = typename S::value_type;                    \
  using In [[maybe_unused]] = std::istreambuf_iterator<Char>;              \
  [[maybe_unused]] const auto& [pos, n, pos2, n2, ch, ch2, key, text, len, \
                                from, ptr, list] = a

auto nth(const auto& s, size_t pos) {
  return s.cbegin() + static_cast<long>(std::min(pos, s.size()));
}

// How an operation treats the storage of its string. Up to `moves` it grows by
// half; from `reserves` on, new memory is as long as the text. `exposes` hands
// out elements for writing.
// clang-format off
enum storage { grows, exposes, copies, moves,
               reserves, shrinks, replaces, renews, copies_anew, lends,
               swaps, leaves };
// clang-format on

template <class S>
using args = const Args<typename S::value_type>&;
template <class S>
struct operation {
  storage kind;
  const char* name;
  void (*run)(S& s, S& t, args<S> a);
};
#define OP(...)                                                 \
  "" #__VA_ARGS__, [](S& s, [[maybe_unused]] S& t, args<S> a) { \
    UNPACKED(a);                                                \
    [[maybe_unused]] auto&& ma = s.get_allocator();             \
    __VA_ARGS__;                                                \
  }
template <class S>
const operation<S> operations[] = {
    {grows, OP(s += ch)},
    {grows, OP(s.append(text.data(), len))},
    {grows, OP(s.append(n, ch))},
    {grows, OP(s += t)},
    {grows, OP(s.assign(text.data(), len))},
    {grows, OP(s.assign(n, ch))},
    {grows, OP(s.insert(pos, text.data(), len))},
    {grows, OP(s.replace(pos, n2, text.data(), len))},
    {grows, OP(s.replace(pos, n2, n, ch))},
    {grows, OP(s.resize(n, ch))},
    {grows, OP(const size_t more = n - std::min(n, s.size()); s.raw_resize(n);
               s.replace(s.size() - more, more, more, ch))},
    {grows, OP(s.clear())},
    {copies, OP(s = t)},
    {moves, OP(if (&s != &t) s = std::move(t))},
    {exposes, OP(s.insert(nth(s, pos), n, ch))},
    {exposes, OP(s.erase(nth(s, pos), nth(s, std::max(pos, n))))},
    {exposes, OP(std::replace(s.begin(), s.end(), ch, ch2))},
    {exposes, OP(s.at(pos) = ch)},
    {exposes, OP(const size_t i = std::min(pos, s.size());
                 s[i] = i < s.size() ? ch : s[i])},
    {exposes, OP(s.data())},
    {reserves, OP(s.reserve(n))},
    {shrinks, OP(s.shrink_to_fit())},
    {renews, OP(s.clear(true))},
    {replaces, OP(s.replace_all(key, text))},
    {renews, OP(s = S(text.data(), text.size(), ma))},
    {renews, OP(s = S(n, ch, ma))},
    {renews, OP(s = S(list.begin(), list.end(), ma))},
    {copies_anew, OP(s = S(t, ma))},
    {copies_anew, OP(s = S(t, pos2 / 50, n2, ma))},
    {renews, OP(s = S(ch + s + (t + ch2) + s, ma))},
    {lends, OP(s = S::c_str(lent<Char>.data(), 60))},
    {swaps, OP(swap(s, t))},
    {leaves, OP(S gone(std::move(s)))},
};
constexpr size_t to_copy = 12, to_move = 13, to_write = 16, to_move_away = 32;
#undef OP

// Lists numbers and texts.
template <class Char>
std::string listed(const auto&... values) {
  const auto one = [](const auto& value) {
    if constexpr (requires { value.c_str(); }) {
      return '"' + shown<Char>(std::basic_string_view<Char>(value)) + '"';
    } else {
      return std::to_string(static_cast<long>(value));
    }
  };
  return (std::string() + ... + (one(values) + ' '));
}
inline int sign(int order) { return (order > 0) - (order < 0); }

// What const members return, and the results of changing copies.
template <class S>
struct question {
  const char* name;
  std::string (*ask)(const S& s, const S& t, args<S> a);
};
// Positions are valid: GCC 12 ends the program where compare() should raise.
#define ASK(...)                                                              \
  {                                                                           \
    "" #__VA_ARGS__, [](const S& s, [[maybe_unused]] const S& t, args<S> a) { \
      UNPACKED(a);                                                            \
      [[maybe_unused]] const size_t at = std::min(pos, s.size());             \
      S c(s);                                                                 \
      std::basic_stringbuf<Char> input(key);                                  \
      return listed<Char>(__VA_ARGS__);                                       \
    }                                                                         \
  }
#define ASK_OF(name) ASK(s.name(key), s.name(ptr), s.name(ch), s.name(t))
#define FIND(name) \
  ASK(s.name(key, pos), s.name(ptr, pos, key.size()), s.name(ptr), s.name(ch))
template <class S>
const question<S> questions[] = {
    ASK_OF(starts_with),
    ASK_OF(ends_with),
    ASK_OF(contains),
    FIND(find),
    FIND(rfind),
    FIND(find_first_of),
    FIND(find_first_not_of),
    FIND(find_last_of),
    FIND(find_last_not_of),
    ASK(s == t, s < t, s == ptr, s < ptr, s == text, s < text),
    ASK(sign(s.compare(t)), sign(s.compare(ptr)), sign(s.compare(at, n, ptr))),
    ASK(sign(s.compare(at, n, ptr, key.size())), sign(s.compare(at, n, text))),
    ASK(sign(s.compare(at, n, text, from)),
        sign(s.compare(at, n, text, from, n2))),
    ASK(s.length(), s.empty(), s[at], s.cend() - s.cbegin(),
        s.crend() - s.rbegin(), s.rend() - s.crbegin()),
    ASK(s.empty() ? 0 : s.front() + s.at(0) + s.back()),
    ASK((c.resize(99, ch), s.copy(c.data(), 99) + s.copy(&c[7], n2 % 90, at)),
        c),
    ASK(s.substr(), s.substr(at, n2), std::hash<decltype(s.substr())>()(s)),

    ASK(S(text), S(ptr), S(text, from, n2), S({ch, ch2}),
        S(text.begin(), text.end())),
    ASK(S(t) = text, S(t) = ptr, S(t) = ch, S(t) = {ch, ch2}, S(t).erase()),
    ASK(S(t).assign(text, from, n2), S(t).assign(list.begin(), list.end())),
    ASK(S(t + ch + s + ptr, s.get_allocator()), ((c += text) += ptr) += ch),
    ASK((c.push_back(ch2), c.push_back(ch), c.pop_back(), c)),
    ASK(c.append(text).append(text, from).append(ptr).append(t)),
    ASK(c.append(const_cast<Char*>(ptr), key.size())),
    ASK(c.append(list.begin(), list.end()).append(In(&input), In())),
    ASK(c.insert(at, text).insert(at, ptr).insert(at, t).insert(at, n2 % 9,
                                                                ch)),
    ASK(c.insert(at, text, from, n2).insert(at, key, 0)),
    ASK((*c.insert(nth(c, at), ch2) = ch, *c.insert(nth(c, at), 2, ch) = ch2,
         c)),
    ASK((*c.insert(nth(c, at), list.begin(), list.end()) = ch2, c)),
    ASK((*c.insert(nth(c, at), {ch, ch2}) = ch2, c)),
    ASK(c.replace(c.cbegin(), nth(c, at), {ch, ch2}), erase(c, ch),
        erase_if(c, [last = ch2](Char each) { return each == last; }), c),
    ASK(c.replace(at, 9, t).replace(at, 1, text).replace(at, 2, ptr)),
    ASK(c.replace(at, 9, text, from, n2).replace(at, 1, text, from)),
    ASK(c.replace(nth(c, at), c.cend(), text.data(), text.size())),
    ASK(c.replace(nth(c, at), c.cend(), text)),
    ASK(c.replace(c.cbegin(), nth(c, at), ptr)),
    ASK(c.replace(nth(c, at), c.cend(), n2 % 9, ch)),
    ASK(c.replace(nth(c, at), c.cend(), list.begin(), list.end())),
    ASK(c.replace_all(ch, ch2), c.replace_all(key, text), c),
    ASK(c.erase_all(ch), c.erase_all(key), c),
    ASK(c.append(t).append(1, ch).erase(at, 1).erase(c.size() / 2)),
    ASK((c.append(2, ch), *c.erase(nth(c, at)) = ch2, c)),
    ASK((c += ch, c.front() = ch2, std::replace(c.rbegin(), c.rend(), ch, ch2),
         c)),
    ASK((c += ch, c.back() = ch2, c)),
};
#undef FIND
#undef ASK_OF
#undef ASK

// Expects that a chunk is released only when its counter is 0.
struct chunk_source : failing_source {
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

  // Runs one operation with a new text or a part of any of the strings.
  void step() {
    Entry& e = all_[below(all_.size())];
    Entry& other = all_[below(all_.size())];
    const auto fresh = letters(below(60));
    std::basic_string_view<Char> text = all_[below(all_.size())].str;
    const size_t begin = below(text.size() + 1), count = length();
    // The null character after a string serves as a text of one character.
    if (begin == text.size()) text = {text.data(), begin + 1};
    text = below(2) ? fresh : text.substr(begin, count);
    const Args<Char> a{length(), length(), length() % 100,    length(),
                       letter(), letter(), letters(below(3)), text};
    for (int i = 0; i < 4; ++i) {
      const size_t n = below(std::size(questions<string>));
      const auto& [name, ask] = questions<string>[n];
      EXPECT_EQ(ask(e.str, other.str, a),
                questions<Model<Char>>[n].ask(e.model, other.model, a))
          << name << about(e, other, a);
    }
    // Copying and writing to copies reach most of the storage rules.
    constexpr size_t all = std::size(operations<string>);
    const size_t ops[] = {below(all), below(all), to_copy, to_write};
    size_t op = ops[below(4)];
    if (e.str.rvalue() && below(10) == 0) op = to_move_away;
    // A std::basic_string that is moved to itself is unspecified.
    if (op == to_move && &e == &other) op = to_copy;
    SCOPED_TRACE(about(e, other, a) << ": " << operations<string>[op].name);
    const long refused = below(3) ? failing_source::never : long(below(3));
    for (auto& source : sources_) {
      source.refuse_after(refused);
      source.raises = a.n % 2 == 0;
    }
    change_one(e, other, op, a);
    for (auto& source : sources_) source.refuse_after(failing_source::never);
    expect_all_right();
  }

 private:
  // A string and what it must equal.
  struct Entry {
    string str;
    Model<Char> model;
  };

  static testing::Message about(const Entry& e, const Entry& other,
                                const Args<Char>& a) {
    return testing::Message()
           << " of s = " << shown<Char>(e.model)
           << ", t = " << shown<Char>(other.model) << ", "
           << testing::PrintToString(
                  std::tuple(a.pos, a.n, a.pos2, a.n2, a.ch, a.ch2, a.key))
           << ", text = " << shown(a.text);
  }

  static constexpr size_t local = 40 / sizeof(Char) - 1;

  size_t below(size_t n) { return random_.below(n); }
  // Mostly a short length, sometimes a limit, npos, or where sums wrap around.
  size_t length() {
    const size_t kind = below(24), npos = string::npos;
    if (kind == 4) return local - 1 + below(3);
    if (kind != 0) return below(kind < 4 ? 150 : 50);
    return random_.one_of({npos, npos, npos / 2, npos / sizeof(Char)}) -
           below(2) * below(99);
  }
  Char letter() { return random_.one_of<Char>({'a', 'b', 0, Char(0xE9)}); }
  std::basic_string<Char> letters(size_t n) {
    return random_.text<Char>(n, widened<Char>({"ab\0\xE9", 4}));
  }
  // The text in a chunk, or null.
  static const Char* chunk(const string& s) {
    return !s.rvalue() && s.capacity() > local ? s.c_str() : nullptr;
  }

  void change_one(Entry& e, Entry& other, size_t op, const Args<Char>& a) {
    const string& s = e.str;
    Args<Char> same = a;
    const std::basic_string<Char> text(a.text);
    same.text = text;
    const Char *const old = chunk(s), *const others = chunk(other.str);
    const size_t room = s.capacity(), size = other.str.size();
    const bool shared = s.shared(), read_only = s.rvalue();
    const bool takes_read_only = other.str.rvalue();
    const bool finds = !a.key.empty() && s.find(a.key) != s.npos;
    const auto& [kind, name, run] = operations<string>[op];
    const auto err = raised_by([&, call = run] { call(e.str, other.str, a); });
    if (err.find("alloc") != err.npos) return;  // out of memory
    if (read_only && kind < swaps) {
      EXPECT_NE(err, "");
      return;
    }
    const auto expected = raised_by(
        [&] { operations<Model<Char>>[op].run(e.model, other.model, same); });
    EXPECT_EQ(err.empty(), expected.empty());
    if (!err.empty()) return;
    const bool moved = (kind == moves && &e != &other) || kind == swaps;
    EXPECT_EQ(s.rvalue(), kind == lends || (moved && takes_read_only));
    if (s.rvalue() || kind == leaves) return;

    if (kind == exposes) handed_out_.insert(chunk(s));
    const bool same_memory = s.get_allocator() == other.str.get_allocator();
    const bool shares = (kind == copies || kind == copies_anew) &&
                        s.size() == size && same_memory && others &&
                        !handed_out_.count(others);
    const size_t needed = kind == reserves ? std::max(a.n, s.size()) : s.size();
    if (shares || (moved && (same_memory || !others))) {
      EXPECT_EQ(chunk(s), others);
    } else if (kind < reserves && needed > room) {
      EXPECT_EQ(s.capacity(), std::max(needed, room + room / 2 + 1));
    } else if (kind == shrinks    ? shared || needed == room
               : kind == reserves ? !shared && needed <= room
               : kind == replaces ? !finds
                                  : kind < reserves && !shared) {
      EXPECT_EQ(chunk(s), old);
    } else if (kind >= reserves || chunk(s) != old || !old) {
      EXPECT_EQ(s.capacity(), std::max(needed, local));
      EXPECT_TRUE(kind > shrinks || !s.shared());
    }
  }

  // Checks the texts, which chunks are shared, and the memory in use.
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
  // The first two allocators stand for the same memory.
  std::array<nalo::allocator, 3> allocators_{nalo::allocator(sources_[0]),
                                             nalo::allocator(sources_[0]),
                                             nalo::allocator(sources_[1])};
  std::vector<Entry> all_;
  std::set<const Char*> handed_out_;  // for writing, with their chunks
};

}  // namespace nalo_test::strings
