// Random extractions over random get areas, with a failure at a random virtual
// call, against a model that takes one character at a time. The model works on
// a buffer of its own with the same script, so that the virtual calls must
// agree too, in number and order. Where nothing fails, the compiler's own
// streams are a second reference.
#ifndef NALO_TESTS_ISTREAM_MODEL_H
#define NALO_TESTS_ISTREAM_MODEL_H

#include <nalo/istream>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "choices.h"
#include "dump_counter.h"
#include "scripted_streambuf.h"
#include "text.h"

namespace nalo_test::input {

using nalo::ios_base;
using nalo::streamsize;

constexpr auto goodbit = ios_base::goodbit;
constexpr auto eofbit = ios_base::eofbit;
constexpr auto failbit = ios_base::failbit;
constexpr streamsize no_limit = std::numeric_limits<streamsize>::max();

// The extractions that move runs, one character at a time. The others are those
// of the library, checked against the compiler's streams alone.
template <class Char>
class model : public nalo::basic_istream<Char> {
  using base = nalo::basic_istream<Char>;
  using traits = nalo::char_traits<Char>;
  using int_type = typename traits::int_type;
  using text = std::basic_string<Char>;
  using buffer = nalo::basic_streambuf<Char>;
  using iostate = ios_base::iostate;
  using base::gcount_;

 public:
  using base::base;
  using base::get;

  void ignore() {
    counted([&] {
      if (buf().sbumpc() == traits::eof()) {
        this->setstate(eofbit);
      } else {
        gcount_ = 1;
      }
      return goodbit;
    });
  }
  void ignore(streamsize n, int_type delim = traits::eof()) {
    if (n <= 0) return;
    if (n == 1 && delim == traits::eof()) return ignore();
    counted([&] {
      const int_type ch = take(gcount_, n, at(delim), [](Char) {});
      if (ch == traits::eof()) this->setstate(eofbit);
      if (ch == delim && ch != traits::eof()) toss(gcount_);
      return goodbit;
    });
  }
  void getline(Char* s, streamsize n, Char delim) {
    to_array(s, n, delim, [&](int_type ch) {
      return ch == traits::to_int_type(delim) ? toss(gcount_) : failbit;
    });
  }
  void get(Char* s, streamsize n, Char delim) {
    to_array(s, n, delim, [](int_type) { return goodbit; });
  }
  void get(buffer& target, Char delim) {
    copy(target, traits::to_int_type(delim));
  }
  void operator>>(buffer* target) { copy(*target, traits::eof()); }
  void word(Char* s, streamsize size = no_limit) {
    streamsize taken = 0;
    const auto work = [&] {
      if (this->width() > 0) size = std::min(size, this->width());
      const int_type ch =
          take(taken, size - 1, space, [&](Char c) { *s++ = c; });
      *s = Char();
      this->width(0);
      return ch == traits::eof() ? eofbit : goodbit;
    };
    extract(false, work, [&] { return taken == 0; });
  }
  void word(text& str) {
    streamsize taken = 0;
    const auto work = [&] {
      str.clear();
      const streamsize n = this->width() > 0 ? this->width() : no_limit;
      const int_type ch = take(taken, n, space, [&](Char c) { str += c; });
      this->width(0);
      return ch == traits::eof() ? eofbit : goodbit;
    };
    extract(false, work, [&] { return taken == 0; });
  }
  void line(text& str, Char delim, streamsize n = no_limit) {
    streamsize taken = 0;
    const auto work = [&] {
      str.clear();
      const int_type stop = traits::to_int_type(delim);
      const int_type ch = take(taken, n, at(stop), [&](Char c) { str += c; });
      return ch == traits::eof() ? eofbit : ch == stop ? toss(taken) : failbit;
    };
    extract(true, work, [&] { return taken == 0; });
  }

 private:
  static bool space(int_type ch) {
    return ch == ' ' || (ch >= '\t' && ch <= '\r');
  }
  static auto at(int_type delim) {
    return [delim](int_type ch) { return ch == delim; };
  }
  static constexpr auto never = [] { return false; };
  buffer& buf() { return *this->rdbuf(); }

  bool gate(bool noskip) {
    iostate err = goodbit;
    if (this->good()) {
      if (this->tie()) this->tie()->flush();
      if (!noskip && (this->flags() & ios_base::skipws) != 0) {
        int_type ch = buf().sgetc();
        while (ch != traits::eof() && space(ch)) ch = buf().snextc();
        if (ch == traits::eof()) err = eofbit;
      }
    }
    if (this->good() && err == goodbit) return true;
    this->setstate(err | failbit);
    return false;
  }
  // Every extraction: the gate, then the guarded work, then its bits.
  template <class Work, class Failed = decltype(never)>
  void extract(bool noskip, Work work, Failed failed = never) {
    iostate err = goodbit;
    if (gate(noskip)) {
      try {
        err = work();
      } catch (const std::exception& error) {
        if (this->set_badbit()) throw;
        const auto* ours = dynamic_cast<const nalo::exception*>(&error);
        if (ours) ours->dump();
      }
    }
    if (failed()) err |= failbit;
    if (err != goodbit) this->setstate(err);
  }
  template <class Work, class Failed = decltype(never)>
  void counted(Work work, Failed failed = never) {
    gcount_ = 0;
    extract(true, work, failed);
  }
  template <class Finish>
  void to_array(Char* s, streamsize n, Char delim, Finish finish) {
    const auto work = [&] {
      const auto stop = at(traits::to_int_type(delim));
      const int_type ch =
          take(gcount_, n - (n > 0), stop, [&](Char c) { *s++ = c; });
      return ch == traits::eof() ? eofbit : finish(ch);
    };
    counted(work, [&] {
      if (n > 0) *s = Char();
      return gcount_ == 0;
    });
  }
  void copy(buffer& target, int_type delim) {
    const auto work = [&] {
      int_type ch = buf().sgetc();
      while (ch != traits::eof() && ch != delim) {
        if (target.sputc(traits::to_char_type(ch)) == traits::eof()) break;
        ++gcount_;
        ch = buf().snextc();
      }
      return ch == traits::eof() ? eofbit : goodbit;
    };
    counted(work, [&] { return gcount_ == 0; });
  }
  template <class Stop, class Store>
  int_type take(streamsize& taken, streamsize n, Stop stop, Store store) {
    int_type ch = buf().sgetc();
    while (taken < n && ch != traits::eof() && !stop(ch)) {
      store(traits::to_char_type(ch));
      ++taken;
      ch = buf().snextc();
    }
    return ch;
  }
  iostate toss(streamsize& taken) {
    ++taken;
    buf().sbumpc();
    return goodbit;
  }
};

template <class Char, class... Limit>
void getline(model<Char>& in, std::basic_string<Char>& str, Char delim,
             Limit... n) {
  in.line(str, delim, static_cast<streamsize>(n)...);
}
template <class Char, class Target>
void getstring(model<Char>& in, Target& target) {
  in.word(target);
}
template <class Char>
void operator>>(model<Char>& in, Char (&s)[4]) {
  in.word(s, 4);
}
template <class Char>
void operator>>(model<Char>& in, std::basic_string<Char>& str) {
  in.word(str);
}

// The same for the compiler's streams.
template <class Char, class Target>
void getstring(std::basic_istream<Char>& in, Target& target) {
  in >> target;
}
// These it has not.
template <class Char>
void getstring(std::basic_istream<Char>&, Char*) {}
template <class Char>
void getline(std::basic_istream<Char>&, std::basic_string<Char>&, Char,
             size_t) {}

template <class Char>
struct arguments {
  streamsize n = 0;
  Char ch = 0;
  long delim = 0;
};

// What an operation works on and leaves.
template <class Char, class String, class Target>
struct bench : arguments<Char> {
  std::vector<Char> array = {};  // for all of the input, and a null
  Char small[4] = {};
  String str = {};
  Char got = 0;
  long value = 0;
  Target target;
};

template <class World>
struct operation {
  const char* name;
  void (*run)(typename World::stream&, typename World::bench_type&);
};

#define OP(...)                                                                \
  {                                                                            \
    "" #__VA_ARGS__, []([[maybe_unused]] auto& in, [[maybe_unused]] auto& b) { \
      __VA_ARGS__;                                                             \
    }                                                                          \
  }

template <class World>
const operation<World> operations[] = {
    OP(in.ignore()),
    OP(in.ignore(b.n)),
    OP(in.ignore(b.n, static_cast<decltype(in.peek())>(b.delim))),
    OP(in.getline(b.array.data(), b.n, b.ch)),
    OP(in.get(b.array.data(), b.n, b.ch)),
    OP(in.get(b.target, b.ch)),
    OP(in >> &b.target),
    OP(b.value = static_cast<long>(in.get())),
    OP(b.value = static_cast<long>(in.peek())),
    OP(in.read(b.array.data(), b.n < 0 ? 0 : b.n)),
    OP(in.putback(b.ch)),
    OP(in.unget()),
    OP(in >> b.got),
    OP(in >> b.small),
    OP(in >> b.str),
    OP(getstring(in, b.array.data())),
    OP(getstring(in, b.str)),
    OP(getline(in, b.str, b.ch)),
    OP(getline(in, b.str, b.ch, static_cast<size_t>(b.n < 0 ? 0 : b.n))),
    OP(ws(in)),
    OP(in.width(b.n)),
    OP(in.flags(in.flags() ^ in.skipws)),
};

// Where the library means to differ from the compiler's streams.
template <class Char>
bool differs(std::string_view call, const arguments<Char>& b,
             const auto& rest) {
  if (call.starts_with("in.ignore(b.n")) {
    // No count, no change: gcount() stays, a closed gate gives no failbit.
    if (b.n <= 0) return true;
    // A delimiter right after the n-th character is discarded too. One that is
    // the value of no character is never found.
    return call.find("b.delim") != call.npos && b.delim != -1 &&
           (b.delim != nalo::char_traits<Char>::to_int_type(b.ch) ||
            rest.find(b.ch) == static_cast<size_t>(b.n));
  }
  // An array without any room: the input is looked at all the same.
  if (call.ends_with("(b.array.data(), b.n, b.ch)")) {
    return b.n <= 0;
  }
  // Copying into a buffer skips no white space, and counts. The peer has no
  // words in arrays without a size, and no lines of a largest size.
  return call == "in >> &b.target" || call.find("size_t") != call.npos ||
         call.find("string(in, b.array") != call.npos;
}

// A stream with everything around it: its buffer, a buffer to copy into, a tied
// stream, and one log of all their virtual calls.
template <class Char, class Stream, class String>
struct world {
  using stream = Stream;
  using bench_type = bench<Char, String, scripted_streambuf<Char>>;

  world(const script<Char>& play, const script<Char>& target,
        const script<Char>& tie, ios_base::iostate mask)
      : input(play),
        tie_buffer(tie),
        in(&input, mask),
        b{{}, {}, {}, {}, 0, 0, scripted_streambuf<Char>(target)} {
    input.log_to(log, "");
    tie_buffer.log_to(log, "tie:");
    b.array.resize(play.input.size() + 1);
    b.target.log_to(log, "target:");
  }

  std::string log;
  scripted_streambuf<Char> input, tie_buffer;
  nalo::basic_ostream<Char> tied{&tie_buffer};
  Stream in;
  bench_type b;
};

template <class Char>
struct std_world {
  struct buffer : std::basic_stringbuf<Char> {
    using std::basic_stringbuf<Char>::basic_stringbuf;
    std::basic_string<Char> rest() { return {this->gptr(), this->egptr()}; }
    std::basic_string<Char> output() { return this->str(); }
  };
  using stream = std::basic_istream<Char>;
  using bench_type = bench<Char, std::basic_string<Char>, buffer>;

  explicit std_world(const std::basic_string<Char>& text)
      : input(text, std::ios_base::in) {
    b.array.resize(text.size() + 1);
  }

  buffer input;
  stream in{&input};
  bench_type b;
};

// All that can be seen of a stream after an operation.
template <class World>
std::string seen(World& w) {
  using view = std::basic_string_view<typename World::stream::char_type>;
  std::ostringstream out;
  const auto bit = [&](const char* name, auto mask) {
    if ((w.in.rdstate() & mask) != w.in.goodbit) out << name << ' ';
  };
  const auto text = [&](const char* name, view s) {
    out << name << " \"" << shown(s) << "\" ";
  };
  bit("bad", w.in.badbit);
  bit("eof", w.in.eofbit);
  bit("fail", w.in.failbit);
  out << "gcount " << w.in.gcount() << " width " << w.in.width() << " value "
      << w.b.value << ' ';
  text("array", view(w.b.array.data(), w.b.array.size()));
  text("small", view(w.b.small, std::size(w.b.small)));
  text("str", w.b.str);
  text("got", view(&w.b.got, 1));
  text("target", w.b.target.output());
  text("rest", w.input.rest());
  return out.str();
}

// A stream, its model and a peer, and what is done to them.
template <class Char>
class comparison {
  using nalo_world =
      world<Char, nalo::basic_istream<Char>, nalo::basic_string<Char>>;
  using text = std::basic_string<Char>;
  using model_world = world<Char, model<Char>, text>;

 public:
  explicit comparison(choices& random)
      : comparison(random, short_text(random)) {}
  comparison(choices& random, const text& input)
      : random_(random), input_{.input = input, .get_areas = sizes()} {
    if (random.below(3) == 0) {
      real_.in.tie(&real_.tied);
      expected_.in.tie(&expected_.tied);
    }
  }

  // Runs one operation on all of them.
  void step() {
    if (random_.below(2) == 0) {
      real_.in.clear();
      expected_.in.clear();
      standard_.in.clear();
    }
    const text shared_text(60, 'y');
    nalo::basic_string<Char> sharer;
    if (random_.below(4) == 0) {
      real_.b.str.assign(shared_text);
      expected_.b.str = standard_.b.str = shared_text;
      sharer = real_.b.str;
    }
    const size_t which = random_.below(std::size(operations<nalo_world>));
    const std::string_view call = operations<nalo_world>[which].name;
    const auto chosen = choose_arguments();
    const auto run = [&]<class World>(World& w) {
      static_cast<arguments<Char>&>(w.b) = chosen;
      return raised_by([&] { operations<World>[which].run(w.in, w.b); });
    };
    const size_t failing =
        beside_std_ ? 0 : random_.below(10);  // call, or none
    const fault kind = a_fault();
    real_.input.fail_in(failing, kind);
    expected_.input.fail_in(failing, kind);
    if (beside_std_ && differs(call, chosen, real_.input.rest())) return;
    trace_ += "\n  " + std::string(call) + " n " + std::to_string(chosen.n) +
              " ch " + std::to_string(static_cast<long>(chosen.ch)) +
              " delim " + std::to_string(chosen.delim) + " failing call " +
              std::to_string(failing);

    const int before = dumps_.count();
    const std::string raised = run(real_);
    const int between = dumps_.count();
    ASSERT_EQ(raised, run(expected_)) << trace_;
    ASSERT_EQ(between - before, dumps_.count() - between) << trace_;
    ASSERT_EQ(seen(real_), seen(expected_)) << trace_;
    ASSERT_EQ(real_.log, expected_.log) << trace_;
    ASSERT_TRUE(sharer.empty() || sharer == shared_text) << trace_;
    if (!beside_std_) return;
    run(standard_);
    // A bounded extraction also looks at what follows: that may be the end.
    const bool bounded = call.starts_with("in.ignore(b.n") ||
                         call.starts_with("in >> b.s") ||
                         call.starts_with("getstring");
    if (bounded && real_.in.eof() && real_.input.rest().empty()) {
      standard_.in.setstate(std::ios_base::eofbit);
    }
    ASSERT_EQ(seen(real_), seen(standard_)) << trace_;
  }

 private:
  std::vector<size_t> sizes() {
    return {random_.one_of<size_t>({0, 1, 2, 3}),
            random_.one_of<size_t>({0, 1, 5, 64}),
            random_.one_of<size_t>({1, 2, 8, 64})};
  }
  static std::basic_string<Char> short_text(choices& random) {
    using namespace std::string_view_literals;
    return random.text<Char>(random.below(30),
                             widened<Char>("aab  \n\t:\xE9\xFF\0"sv));
  }
  fault a_fault() {
    return random_.one_of(
        {fault::library, fault::standard, fault::other, fault::refusal});
  }
  // An output that takes few characters, or fails early; any for the peer.
  script<Char> output() {
    if (beside_std_) return {};
    return {.put_areas = sizes(),
            .accepts = random_.one_of<size_t>({0, 3, 10, 100}),
            .fail_at = random_.below(12),
            .kind = a_fault()};
  }
  arguments<Char> choose_arguments() {
    constexpr auto least = std::numeric_limits<streamsize>::min();
    const auto n =
        random_.one_of<streamsize>({least, -1, 0, 1, 2, 3, 5, 8, 40, no_limit});
    const Char ch = widened<Char>({"\n: a\xE9", 6})[random_.below(6)];
    const long value = nalo::char_traits<Char>::to_int_type(ch);
    // The second is the same character but for its unused upper bits.
    return {n, ch, random_.one_of<long>({value, value + 0x100, -1, -23})};
  }

  choices& random_;
  dump_counter dumps_;
  const script<Char> input_;
  const bool beside_std_ = random_.below(4) == 0;
  const script<Char> target_ = output(), tie_ = output();
  const ios_base::iostate mask_ =
      static_cast<ios_base::iostate>(beside_std_ ? 0 : random_.below(8));
  nalo_world real_{input_, target_, tie_, mask_};
  model_world expected_{input_, target_, tie_, mask_};
  std_world<Char> standard_{input_.input};
  std::string trace_ =
      "mask " + std::to_string(mask_) + " input " + shown<Char>(input_.input);
};

#undef OP

}  // namespace nalo_test::input

#endif
