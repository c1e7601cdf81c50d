// Random operations of a stream, over random areas, with every exception mask
// and state, and a failure of every kind at a random virtual call, against a
// model that moves one character at a time. The model has buffers of its own
// with the same scripts, so that the virtual calls must agree too, in number
// and order.
#ifndef NALO_TESTS_STREAM_MODEL_H
#define NALO_TESTS_STREAM_MODEL_H

#include <nalo/istream>
#include <nalo/locale>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "choices.h"
#include "dump_counter.h"
#include "scripted_streambuf.h"
#include "text.h"

namespace nalo_test::streams {

using nalo::ios_base;
using nalo::streamsize;
using iostate = ios_base::iostate;

constexpr auto goodbit = ios_base::goodbit, badbit = ios_base::badbit,
               eofbit = ios_base::eofbit, failbit = ios_base::failbit;
constexpr streamsize no_limit = std::numeric_limits<streamsize>::max();

// The operations that move runs or write, and the gates, in the simplest form.
// The others are those of the library.
template <class Char>
class model : public nalo::basic_iostream<Char> {
  using base = nalo::basic_iostream<Char>;
  using traits = nalo::char_traits<Char>;
  using int_type = typename traits::int_type;
  using string = nalo::basic_string<Char>;
  using buffer = nalo::basic_streambuf<Char>;
  using ctype = nalo::ctype<Char>;
  using base::gcount_;
  static constexpr int_type none = traits::eof();

 public:
  using base::base;

  void ignore(streamsize n = 1, int_type delim = none) {
    if (n <= 0) return;
    gcount_ = 0;
    extract(true, [&] {
      if (n > 1 || delim != none) {
        this->setstate(take_line(gcount_, n, delim, nowhere) & eofbit);
      } else if (gcount_ = buf().sbumpc() != none; gcount_ == 0) {
        this->setstate(eofbit);
      }
      return goodbit;
    });
  }
  void getline(Char* s, streamsize n, Char delim) { array(s, n, delim, true); }
  void get(Char* s, streamsize n, Char delim) { array(s, n, delim, false); }
  void get(buffer& to, Char delim) { copy(&to, traits::to_int_type(delim)); }
  void operator>>(buffer* to) { copy(to, none); }
  void operator>>(long& value) {
    extract(false, [&] {
      iostate err = goodbit;
      const auto& facet = nalo::basic_istream<Char>::get_num_type();
      facet.get(&buf(), {}, *this, err, value);
      return err;
    });
  }
  friend void getstring(model& in, Char* s) {
    in.word([] {}, 1, [&](Char c) { *s++ = c; }, [&] { *s = Char(); });
  }
  friend void getstring(model& in, string& str) {
    in.word([&] { str.clear(); }, 0, [&](Char c) { str += c; }, [] {});
  }
  friend void getline(model& in, string& str, Char delim, size_t n = no_limit) {
    streamsize taken = 0;
    const auto work = [&] {
      str.clear();
      return in.take_line(taken, static_cast<streamsize>(n),
                          traits::to_int_type(delim),
                          [&](Char c) { str += c; });
    };
    in.extract(true, work, [&] { return taken == 0; });
  }
  friend void ws(model& in) {
    in.extract(true, [&] {
      const auto& facet = nalo::use_facet<ctype>(in.getloc());
      return in.skip(in.buf().sgetc(), facet);
    });
  }

  void flush() {
    if (this->rdbuf()) guarded([&] { sync(); });
  }
  void put(Char ch) {
    insertion([&] { return write_one(ch); });
  }
  void write(const Char* s, streamsize n) {
    insertion([&] { return write_all(s, n); });
  }
  void insert(const Char* s, streamsize n) {
    insertion([&] {
      const streamsize padding = this->width() - n;
      const Char fill = padding > 0 ? this->fill() : Char();
      const bool first =
          (this->flags() & ios_base::adjustfield) == ios_base::left;
      if ((first || pad(padding, fill)) && write_all(s, n) && first) {
        pad(padding, fill);
      }
      this->width(0);
      return true;
    });
  }
  void operator<<(Char ch) { insert(&ch, 1); }
  void operator<<(long number) {
    insertion([&] {
      const Char fill = this->fill();
      const auto& facet = nalo::basic_ostream<Char>::get_num_type();
      return check(!facet.put(&buf(), *this, fill, number).failed(), badbit);
    });
  }
  void operator<<(buffer* from) {
    if (!check(from, badbit)) return;
    insertion([&] {
      streamsize taken = 0;
      const auto refused = [&](int_type ch) { return !accepted(buf(), ch); };
      take(*from, taken, no_limit, refused, nowhere);
      return check(taken > 0, failbit);
    });
  }
  nalo::streampos tellp() {
    nalo::streampos pos(-1);
    const auto tell = [&] {
      pos = buf().pubseekoff(0, ios_base::cur, ios_base::out);
    };
    if (!this->fail()) guarded(tell);
    return pos;
  }
  void seekp(nalo::streampos pos) {
    seek([&] { return buf().pubseekpos(pos, ios_base::out); });
  }
  void seekp(nalo::streamoff off, ios_base::seekdir way) {
    seek([&] { return buf().pubseekoff(off, way, ios_base::out); });
  }

 private:
  static constexpr auto never = [] { return false; };
  static constexpr auto nowhere = [](Char) {};
  static bool space(const ctype& facet, int_type ch) {
    return facet.is(ctype::space, traits::to_char_type(ch));
  }
  static bool accepted(buffer& to, int_type ch) {
    return to.sputc(traits::to_char_type(ch)) != none;
  }
  static iostate left(int_type ch) { return ch == none ? eofbit : goodbit; }
  buffer& buf() { return *this->rdbuf(); }
  // Sets a bit for what did not succeed.
  bool check(bool success, iostate bit) {
    if (!success) this->setstate(bit);
    return success;
  }
  template <class Work>
  void guarded(Work work) {
    try {
      work();
    } catch (const std::exception& error) {
      if (this->set_badbit()) throw;
      const auto* ours = dynamic_cast<const nalo::exception*>(&error);
      if (ours) ours->dump();
    }
  }

  // Every extraction: the gate, then the guarded work, then its bits.
  template <class Work, class Failed = decltype(never)>
  void extract(bool noskip, Work work, Failed failed = never) {
    iostate err = goodbit;
    if (gate(noskip)) guarded([&] { err = work(); });
    if (failed()) err |= failbit;
    if (err != goodbit) this->setstate(err);
  }
  bool gate(bool noskip) {
    iostate err = goodbit;
    if (this->good()) {
      if (this->tie()) this->tie()->flush();
      if (!noskip && (this->flags() & ios_base::skipws) != 0) {
        const int_type ch = buf().sgetc();
        err = skip(ch, nalo::impl::checkFacet(this->space_ctype_()));
      }
    }
    if (this->good() && err == goodbit) return true;
    this->setstate(err | failbit);
    return false;
  }
  void array(Char* s, streamsize n, Char delim, bool whole) {
    const auto work = [&] {
      return take_line(
          gcount_, n - (n > 0), traits::to_int_type(delim),
          [&](Char c) { *s++ = c; }, whole);
    };
    gcount_ = 0;
    extract(true, work, [&] {
      if (n > 0) *s = Char();
      return gcount_ == 0;
    });
  }
  // Takes a word as long as the width allows, less what else has to fit in.
  template <class Begin, class Store, class Finish>
  void word(Begin begin, streamsize less, Store store, Finish finish) {
    streamsize taken = 0;
    const auto work = [&] {
      begin();
      const streamsize n = this->width() > 0 ? this->width() : no_limit;
      const auto& facet = nalo::use_facet<ctype>(this->getloc());
      const auto stop = [&](int_type ch) { return space(facet, ch); };
      const int_type ch = take(buf(), taken, n - less, stop, store);
      finish();
      this->width(0);
      return left(ch);
    };
    extract(false, work, [&] { return taken == 0; });
  }
  void copy(buffer* to, int_type delim) {
    const auto work = [&] {
      const auto refused = [&](int_type ch) {
        return ch == delim || !accepted(*to, ch);
      };
      if (!to) return failbit;
      return left(take(buf(), gcount_, no_limit, refused, nowhere));
    };
    gcount_ = 0;
    extract(true, work, [&] { return gcount_ == 0; });
  }
  iostate skip(int_type ch, const ctype& facet) {
    while (ch != none && space(facet, ch)) ch = buf().snextc();
    return left(ch);
  }
  template <class Stop, class Store>
  static int_type take(buffer& from, streamsize& taken, streamsize n, Stop stop,
                       Store store) {
    int_type ch = from.sgetc();
    while (taken < n && ch != none && !stop(ch)) {
      store(traits::to_char_type(ch));
      ++taken;
      ch = from.snextc();
    }
    return ch;
  }
  // The same up to a delimiter. A whole line takes it too, and needs it.
  template <class Store>
  iostate take_line(streamsize& taken, streamsize n, int_type delim,
                    Store store, bool whole = true) {
    const auto stop = [&](int_type ch) { return ch == delim; };
    const int_type ch = take(buf(), taken, n, stop, store);
    if (ch == none || !whole) return left(ch);
    if (ch != delim) return failbit;
    ++taken;
    buf().sbumpc();
    return goodbit;
  }

  // Every insertion: the gate, then the guarded work, which answers whether it
  // succeeded and may be synced.
  template <class Work>
  void insertion(Work work) {
    if (this->tie() && this->good()) this->tie()->flush();
    if (!check(this->good(), failbit)) return;
    guarded([&] {
      if (work() && (this->flags() & ios_base::unitbuf) != 0) sync();
    });
  }
  void sync() { check(buf().pubsync() != -1, badbit); }
  bool write_one(Char ch) { return check(buf().sputc(ch) != none, badbit); }
  bool write_all(const Char* s, streamsize n) {
    return check(buf().sputn(s, n) == n, badbit);
  }
  bool pad(streamsize n, Char fill) {
    while (n > 0 && write_one(fill)) --n;
    return n <= 0;
  }
  template <class Move>
  void seek(Move move) {
    if (this->fail()) return;
    guarded([&] { check(move() - 0 != -1, failbit); });
  }
};

// The classic one, or one with other white space, the colon and the character
// that the end of the input reads as, or one that lacks a facet.
template <class Char>
const nalo::locale& a_locale(choices& random) {
  const nalo::locale& classic = nalo::locale::classic();
  static nalo::ctype_base::mask table[256] = {};
  for (int ch : {0x20, 0x3A, 0xFF}) table[ch] = nalo::ctype_base::space;
  static const nalo::locale all[] = {
      classic, nalo::locale(classic, new nalo::ctype<char>(table)),
      classic.without_<nalo::ctype<Char>>(),
      classic.without_<nalo::num_get<Char>>(),
      classic.without_<nalo::num_put<Char>>()};
  return all[random.below(std::size(all))];
}

template <class Char>
script<Char> play(choices& random, const std::basic_string<Char>& input) {
  const auto sizes = [&] {
    return std::vector{random.one_of<size_t>({0, 1, 2, 3}),
                       random.one_of<size_t>({0, 1, 5, 64}),
                       random.one_of<size_t>({1, 2, 8, 64})};
  };
  const size_t all = input.npos;
  return {.input = input,
          .get_areas = sizes(),
          .put_areas = sizes(),
          .accepts = random.one_of<size_t>({0, 3, 10, 30, all, all, all, all}),
          .seekable = random.below(2) == 0};
}

template <class T>
iostate bits(T value) {
  return static_cast<iostate>(value % 8);
}

// A stream and what it works with: its buffer, another one to copy from and to,
// a stream that it may be tied to, one log of all their virtual calls; the
// arguments of operations, and where they store.
template <class Char, class Stream>
struct world {
  using text = std::basic_string<Char>;
  using string = nalo::basic_string<Char>;
  using traits = nalo::char_traits<Char>;
  using int_type = typename traits::int_type;

  world(choices& random, const text& input)
      : buf(play(random, input)),
        other(play(random, random.text<Char>(random.below(9), other_input))),
        tied_buf(play(random, text())),
        array(input.size() + 1, 'y') {
    buf.log_to(log, "");
    other.log_to(log, "other:");
    tied_buf.log_to(log, "tied:");
    io.exceptions(bits(random.below(8)));
    tied.exceptions(bits(random.below(8)));
  }

#define OP(...)                                    \
  {                                                \
    "" #__VA_ARGS__, [](world& w) { __VA_ARGS__; } \
  }
  // Runs one operation and answers all that can be seen of it.
  auto run(choices& random) {
    static constexpr std::pair<const char*, void (*)(world&)> operations[] = {
        OP(w.io.ignore()),
        OP(w.io.ignore(w.n)),
        OP(w.io.ignore(w.n, w.delim)),
        OP(w.io.getline(w.array.data(), w.n, w.ch)),
        OP(w.io.get(w.array.data(), w.n, w.ch)),
        OP(w.io.get(w.other, w.ch)),
        OP(w.io >> (w.n < 0 ? nullptr : &w.other)),
        OP(w.io >> w.value),
        OP(getstring(w.io, w.array.data())),
        OP(getstring(w.io, w.str)),
        OP(getline(w.io, w.str, w.ch)),
        OP(getline(w.io, w.str, w.ch, static_cast<size_t>(std::max(w.n, 0L)))),
        OP(ws(w.io)),
        OP(w.value = w.io.peek()),
        OP(w.io.unget()),
        OP(string(w.shared).swap(w.str)),
        OP(string(string::c_str(&read_only, 1)).swap(w.str)),

        OP(w.io.put(w.ch)),
        OP(w.io.write(w.words.data(), std::ssize(w.words))),
        OP(w.io.insert(w.words.data(), std::ssize(w.words))),
        OP(w.io << w.ch),
        OP(w.io << 100L - std::ssize(w.words)),
        OP(w.io << &w.other),
        OP(w.io << static_cast<decltype(w.io.rdbuf())>(nullptr)),
        OP(w.io.flush()),
        OP(w.value = w.io.tellp() - 0),
        OP(w.io.seekp(nalo::streampos(w.number - 2))),
        OP(w.io.seekp(2 - w.number, w.io.cur)),

        OP(w.io.width(w.number - 2)),
        OP(w.value = w.io.fill(w.ch)),
        OP(w.io.flags(w.io.flags() ^ flags[w.number % std::ssize(flags)])),
        OP(w.io.imbue(w.loc)),
        // The cached facets stay as they are.
        OP(static_cast<ios_base&>(w.io).imbue(w.loc)),
        OP(w.io.tie(w.ties[w.number % 4])),
        OP(w.io.rdbuf(w.number < 3 ? nullptr : &w.buf)),
        OP(w.io.exceptions(bits(w.number))),
        OP(w.io.clear(bits(w.number))),
    };
#undef OP
    const auto& [name, operation] =
        operations[random.below(std::size(operations))];
    n = random.one_of<streamsize>({std::numeric_limits<streamsize>::min(), -1,
                                   0, 1, 2, 3, 5, 8, 40, no_limit});
    number = static_cast<int>(random.below(16));
    ch = widened<Char>({"\n: a\xE9", 6})[random.below(6)];
    if (random.below(8) == 0) ch = Char(-1);
    const auto value_of_ch = traits::to_int_type(ch);
    // The second is the same character but for its unused upper bits.
    delim = random.one_of<int_type>(
        {value_of_ch, value_of_ch + 0x100, int_type(-1), int_type(-23)});
    loc = a_locale<Char>(random);
    words.assign(random.below(8), ch);
    const bool clears = random.below(2) == 0;
    const size_t failing_call = random.below(20);  // or none
    const auto kind = random.one_of(
        {fault::library, fault::standard, fault::other, fault::refusal});
    call =
        name + testing::PrintToString(std::tuple(
                   n, number, ch, delim, words.size(), clears, failing_call));
    log.clear();
    const dump_counter dumps;
    const auto work = [&, run = operation] {
      if (clears) io.clear();
      run(*this);
    };
    const std::string raised = raised_by(work, failing_call, kind);
    return std::tuple(raised, dumps.count(), io.rdstate(), tied.rdstate(),
                      io.gcount(), io.width(), value, array,
                      text(std::as_const(str).data(), str.size()),
                      shared == string(60, 'y'), buf.output(), buf.rest(),
                      other.output(), other.rest(), tied_buf.output(), log);
  }

  static constexpr Char other_input[] = {'i', 'i', 'i', 'i', Char(-1), 0};
  static constexpr Char read_only = 'x';
  static constexpr ios_base::fmtflags flags[] = {
      ios_base::skipws, ios_base::unitbuf, ios_base::left, ios_base::right,
      ios_base::internal};

  std::string log, call;
  scripted_streambuf<Char> buf, other, tied_buf;
  Stream io{&buf};
  nalo::basic_ostream<Char> tied{&tied_buf};
  nalo::basic_ostream<Char>* const ties[4] = {nullptr, nullptr, &io, &tied};
  streamsize n;
  int number;
  Char ch;
  int_type delim;
  nalo::locale loc;
  text words, array;
  const string shared = string(60, 'y');
  string str;
  long value = 0;
};

// A io and its model, which get the same choices.
template <class Char>
class comparison {
  using text = std::basic_string<Char>;

 public:
  explicit comparison(choices& random)
      : comparison(random, short_text(random)) {}
  comparison(choices& random, const text& input)
      : random_(random),
        same_(random),
        real_(same_, input),
        expected_(random, input) {}

  // Runs one operation on both.
  void step() {
    const auto seen = real_.run(same_);
    trace_ += "\n  " + real_.call;
    ASSERT_EQ(seen, expected_.run(random_)) << trace_;
  }

 private:
  static text short_text(choices& random) {
    using namespace std::string_view_literals;
    return random.text<Char>(random.below(30),
                             widened<Char>("aab17  \n\t:\xE9\xFF\0"sv));
  }

  choices& random_;
  choices same_;
  world<Char, nalo::basic_iostream<Char>> real_;
  world<Char, model<Char>> expected_;
  std::string trace_ = "after";
};

}  // namespace nalo_test::streams

#endif
