// Random operations of streams with random areas, masks, states and failures of
// virtual calls, compared with a model that moves one character at a time. Its
// buffers have the same scripts and must get the same virtual calls.
#pragma once

#include "common.h"

namespace nalo_test::streams {

using nalo::streamsize;
constexpr streamsize no_limit = std::numeric_limits<streamsize>::max();

// Defines the operations on runs of characters, and the sentries, plainly.
template <class Char>
class model : public nalo::basic_iostream<Char> {
  using base = nalo::basic_iostream<Char>;
  using traits = nalo::char_traits<Char>;
  using int_type = typename traits::int_type;
  using buffer = nalo::basic_streambuf<Char>;
  using base::gcount_;
  static constexpr int_type none = traits::eof();

 public:
  using base::base;

  void ignore(streamsize n, int_type delim = none) {
    if (n <= 0) return;
    gcount_ = 0;
    if (!gate(true)) return;
    guarded([&] {
      if (n == 1 && delim == none) {
        if (check(buf().sbumpc() != none, eof)) gcount_ = 1;
      } else {
        this->setstate(take_line(gcount_, n, delim, nowhere) & eof);
      }
    });
  }
  int_type get() {
    return look(eof | fail, [&] {
      const int_type ch = buf().sbumpc();
      if (ch != none) gcount_ = 1;
      return ch;
    });
  }
  int_type peek() {
    return look(eof, [&] { return buf().sgetc(); });
  }
  void getline(Char* s, streamsize n, Char delim) {
    if (n > 0) *s = Char();
    extract(true, gcount_, [&] {
      streamsize room = n - (n > 0);
      const auto store = [&](Char c) {
        if (room <= 0) return false;
        --room;
        *s++ = c;
        *s = Char();
        return true;
      };
      return take_line(gcount_, room, traits::to_int_type(delim), store);
    });
  }
  void operator>>(buffer* to) {
    extract(true, gcount_, [&] {
      const auto stop = [&](int_type ch) { return !sent(*to, ch); };
      return left(take(buf(), gcount_, no_limit, stop));
    });
  }
  // The size of an array includes its null character.
  friend void getstring(model& in, auto& str, streamsize size = no_limit,
                        bool is_array = false) {
    streamsize taken = 0;
    in.extract(false, taken, [&] {
      str.clear();
      const streamsize width = in.width() > 0 ? in.width() : no_limit;
      const auto& facet = nalo::use_facet<nalo::ctype<Char>>(in.getloc());
      const auto stop = [&](int_type ch) { return space(facet, ch); };
      const auto store = [&](Char c) { return str += c, true; };
      const int_type ch =
          take(in.buf(), taken, std::min(width, size) - is_array, stop, store);
      in.width(0);
      return left(ch);
    });
  }
  template <size_t Size>
  void operator>>(Char (&s)[Size]) {
    struct {
      void clear() { *end = Char(); }
      void operator+=(Char c) { *end++ = c, clear(); }
      Char* end;
    } array{s};
    getstring(*this, array, Size, true);
  }
  friend void getline(model& in, auto& str, Char delim, size_t n = no_limit) {
    streamsize taken = 0;
    in.extract(true, taken, [&] {
      str.clear();
      return in.take_line(taken, static_cast<streamsize>(n),
                          traits::to_int_type(delim),
                          [&](Char c) { return str += c, true; });
    });
  }

  void put(Char ch) {
    insertion([&] { return accept(ch); });
  }
  void insert(const Char* s, streamsize n) {
    insertion([&] {
      const streamsize padding = this->width() - n;
      const bool first =
          (this->flags() & ios_base::adjustfield) == ios_base::left;
      const Char fill = padding > 0 ? this->fill() : Char();
      if ((first || pad(padding, fill)) && check(buf().sputn(s, n) == n, bad) &&
          first) {
        pad(padding, fill);
      }
      this->width(0);
      return true;
    });
  }
  void operator<<(Char ch) { insert(&ch, 1); }
  void operator<<(buffer* from) {
    insertion([&] {
      streamsize n = 0;
      take(*from, n, no_limit, [&](int_type ch) { return !sent(buf(), ch); });
      return check(n > 0, fail);
    });
  }

 private:
  static constexpr auto nowhere = [](Char) { return true; };
  static iostate left(int_type ch) { return ch == none ? eof : good; }
  static bool sent(buffer& to, int_type ch) {
    return to.sputc(traits::to_char_type(ch)) != none;
  }
  buffer& buf() { return *this->rdbuf(); }
  // Sets a bit on failure.
  bool check(bool success, iostate bit) {
    if (!success) this->setstate(bit);
    return success;
  }
  bool accept(Char ch) { return check(buf().sputc(ch) != none, bad); }
  bool pad(streamsize n, Char fill) {
    while (n > 0 && accept(fill)) --n;
    return n <= 0;
  }
  void guarded(auto work) {
    try {
      work();
    } catch (const std::exception& error) {
      if (this->set_badbit()) throw;
      const auto* ours = dynamic_cast<const nalo::exception*>(&error);
      if (ours) ours->dump();
    }
  }

  // An extraction passes the gate, does the guarded work, and sets the bits
  // that the work returns, and failbit when nothing was taken.
  void extract(bool noskip, streamsize& taken, auto work) {
    taken = 0;
    iostate err = good;
    if (gate(noskip)) guarded([&] { err = work(); });
    if (taken == 0) err |= fail;
    if (err != good) this->setstate(err);
  }
  // The same for one character; at the end of the input it sets other bits.
  int_type look(iostate at_end, auto work) {
    std::optional<int_type> ch;
    gcount_ = 0;
    if (gate(true)) guarded([&] { ch = work(); });
    if (ch == none) this->setstate(at_end);
    return ch.value_or(none);
  }
  bool gate(bool noskip) {
    iostate err = good;
    if (this->good()) {
      if (this->tie()) this->tie()->flush();
      if (!noskip && (this->flags() & ios_base::skipws) != 0) {
        int_type ch = buf().sgetc();
        const auto& facet = nalo::impl::checkFacet(this->ctype_);
        while (ch != none && space(facet, ch)) ch = buf().snextc();
        err = left(ch);
      }
    }
    if (this->good() && err == good) return true;
    this->setstate(err | fail);
    return false;
  }
  static bool space(const nalo::ctype<Char>& facet, int_type ch) {
    return facet.is(facet.space, traits::to_char_type(ch));
  }
  // Takes up to n characters. Stops before one that stop() accepts or store()
  // rejects, and returns it.
  template <class Stop, class Store = decltype(nowhere)>
  static int_type take(buffer& from, streamsize& taken, streamsize n, Stop stop,
                       Store store = {}) {
    int_type ch = from.sgetc();
    for (; taken < n && ch != none && !stop(ch); ch = from.snextc()) {
      if (!store(traits::to_char_type(ch))) break;
      ++taken;
    }
    return ch;
  }
  // Takes a line and its delimiter.
  iostate take_line(streamsize& taken, streamsize n, int_type delim,
                    auto store) {
    const auto stop = [&](int_type ch) { return ch == delim; };
    const int_type ch = take(buf(), taken, n, stop, store);
    if (ch == none) return eof;
    if (ch != delim) return fail;
    ++taken;
    buf().sbumpc();
    return good;
  }

  // An insertion passes the gate and does the guarded work, then syncs if the
  // work returns true.
  void insertion(auto work) {
    if (this->tie() && this->good()) this->tie()->flush();
    if (!check(this->good(), fail)) return;
    guarded([&] {
      if (!work() || (this->flags() & ios_base::unitbuf) == 0) return;
      check(buf().pubsync() != -1, bad);
    });
  }
};

// The classic locale, one with other white space, or one without a ctype.
template <class Char>
const nalo::locale& a_locale(choices& random) {
  const nalo::locale& classic = nalo::locale::classic();
  static nalo::ctype_base::mask table[256] = {};
  for (int ch : {0x20, 0x3A, 0xFF}) table[ch] = nalo::ctype_base::space;
  static const nalo::locale all[] = {
      classic, nalo::locale(classic, new nalo::ctype<char>(table)),
      classic.without_<nalo::ctype<Char>>()};
  return all[random.below(std::size(all))];
}

// A text of runs of the same character.
template <class Char>
std::basic_string<Char> runs(choices& random) {
  constexpr Char letters[] = {'a',  'a', 'b', ' ',        ' ',        '\n',
                              '\t', ':', 0,   Char(0xE9), Char(0xFF), Char(-1)};
  const size_t kinds = std::size(letters) - random.below(2),
               longest = random.one_of<size_t>({1, 2, 4, 50, 700});
  std::basic_string<Char> text;
  for (size_t n = random.below(20); n != 0; --n) {
    text.append(1 + random.below(longest), letters[random.below(kinds)]);
  }
  return text;
}

template <class Char>
script<Char> play(choices& random) {
  const auto sizes = [&] {
    return std::vector{random.one_of<size_t>({0, 1, 2, 5}),
                       random.one_of<size_t>({1, 3, 8, 1000})};
  };
  const size_t all = std::string::npos;
  return {.input = runs<Char>(random),
          .get_areas = sizes(),
          .put_areas = sizes(),
          .accepts = random.one_of<size_t>({0, 3, 10, 30, all, all, all, all})};
}

// The arguments of an operation, the state before it, and the failure.
template <class Char>
struct arguments {
  using int_type = typename nalo::char_traits<Char>::int_type;

  choices& random;
  size_t operation = random.below(256);
  streamsize n = random.one_of<streamsize>(
      {-no_limit - 1, -1, 0, 1, 2, 3, 5, 8, 40, no_limit});
  unsigned size = static_cast<unsigned>(random.below(16));
  Char ch = random.one_of<Char>({'\n', ':', ' ', 'a', 0, Char(0xE9), Char(-1)});
  int_type code = nalo::char_traits<Char>::to_int_type(ch);
  // The second differs only in bits that a char does not have.
  int_type delim = random.one_of<int_type>({code, code + 0x100, int_type(-1)});
  ios_base::fmtflags flag =
      random.one_of({ios_base::skipws, ios_base::unitbuf, ios_base::left,
                     ios_base::right, ios_base::internal});
  nalo::locale loc = a_locale<Char>(random);
  bool clears = random.below(2) == 0;
  iostate state = static_cast<iostate>(random.below(8));
  size_t failing_call = random.below(10);  // or none
  fault kind = random.one_of({fault::library, fault::standard, fault::other,
                              fault::refusal, fault::meddle});

  auto shown() const {
    return std::tuple(n, size, ch, delim, clears, state, failing_call, kind);
  }
};

// A world with a tied stream over the other buffer, and a log of virtual calls.
template <class Char, class Stream>
struct world : scripted_world<Char, Stream> {
  using base = scripted_world<Char, Stream>;
  using base::buf, base::other, base::io, base::str, base::standard,
      base::with_traits;
  using typename base::string, typename base::text;
  using with = const arguments<Char>&;

  world(const script<Char>& play, const script<Char>& others)
      : base(play, others), array(play.input.size() + 16, 'y') {
    buf.log_to(log, "");
    other.log_to(log, "other:");
  }

#define OP(...)                                                             \
  {                                                                         \
    "" #__VA_ARGS__, [](world& w, [[maybe_unused]] with a) { __VA_ARGS__; } \
  }
  static const auto& operation(size_t number) {
    static constexpr std::pair<const char*, void (*)(world&, with)> all[] = {
        OP(w.io.ignore(a.n)),
        OP(w.io.ignore(a.n, a.delim)),
        OP(w.io.getline(w.array.data(), a.n, a.ch)),
        OP(w.io >> &w.other),
        OP(w.io >> w.word),
        OP(getstring(w.io, w.str)),
        OP(getline(w.io, w.str, a.ch)),
        OP(getline(w.io, w.str, a.ch, a.size)),
        OP(getstring(w.io, w.standard)),
        OP(getline(w.io, w.standard, a.ch)),
        OP(getline(w.io, w.standard, a.ch, a.size)),
        OP(text().swap(w.standard)),
        OP(getstring(w.io, w.with_traits)),
        OP(getline(w.io, w.with_traits, a.ch)),
        OP(getline(w.io, w.with_traits, a.ch, a.size)),
        OP(decltype(w.with_traits)().swap(w.with_traits)),
        OP(w.io.unget()),
        OP(w.array[0] = static_cast<Char>(w.io.get())),
        OP(w.array[0] = static_cast<Char>(w.io.peek())),
        OP(w.str = w.shared),
        OP(w.str = string::c_str(w.shared.c_str(), 1)),

        OP(w.io.put(a.ch)),
        OP(w.io.insert(w.array.data(), a.size)),
        OP(w.io << a.ch),
        OP(w.io << &w.other),

        OP(w.io.width(a.size % 8)),
        OP(w.io.fill(a.ch)),
        OP(w.io.flags(w.io.flags() ^ a.flag)),
        OP(w.io.imbue(a.loc)),
        // This does not update the cached facets.
        OP(static_cast<ios_base&>(w.io).imbue(a.loc)),
        OP(w.io.tie(a.size % 2 == 0 ? &w.tied : nullptr)),
        OP(w.io.rdbuf(a.size == 0 ? nullptr : &w.buf)),
        OP(w.io.clear(a.state)),
    };
    return all[number % std::size(all)];
  }
#undef OP

  // Runs an operation and returns all that can be observed.
  auto run(with a) {
    const auto work = [&] {
      if (a.clears) {
        io.clear();
        tied.clear();
        io.exceptions(a.state);
        tied.exceptions(a.state);
      }
      operation(a.operation).second(*this, a);
    };
    log.clear();
    nalo::basic_istream<Char>& in = io;
    meddle = [&] { in.gcount_ = a.size; };
    const dump_counter dumps;
    const std::string raised = raised_by(work, a.failing_call, a.kind);
    // After an error the contents of arrays are unspecified.
    if (!raised.empty() || io.bad()) {
      array.assign(array.size(), 'y');
      *word = Char();
    }
    return std::tuple(raised, dumps.count(), io.rdstate(), tied.rdstate(),
                      io.gcount(), io.width(), array, text(word),
                      text(std::as_const(str).data(), str.size()), standard,
                      text(with_traits.data(), with_traits.size()),
                      str.size() <= str.capacity(), shared == string(60, 'y'),
                      buf.output(), buf.rest(), other.output(), other.rest(),
                      log);
  }

  std::string log;
  nalo::basic_ostream<Char> tied{&other};
  text array;
  Char word[40] = {};
  const string shared = string(60, 'y');
};

// Runs the same operations on a stream and on its model.
template <class Char>
void compare(choices& random, size_t steps = no_limit) {
  script<Char> input = play<Char>(random), other = play<Char>(random);
  // A wide character that equals eof ends the input only when it is read alone.
  if (sizeof(Char) > 1 && input.input.find(Char(-1)) != input.input.npos) {
    input.get_areas = {0, 1};
  }
  world<Char, nalo::basic_iostream<Char>> real(input, other);
  world<Char, model<Char>> expected(input, other);
  std::string trace = "after";
  for (; steps != 0 && random.more(); --steps) {
    const arguments<Char> a{random};
    trace += std::string("\n  ") + real.operation(a.operation).first +
             testing::PrintToString(a.shown());
    ASSERT_EQ(real.run(a), expected.run(a)) << trace;
  }
}

}  // namespace nalo_test::streams
