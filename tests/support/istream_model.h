// Random extractions over random get areas, with a failure at a random virtual
// call, against a model that takes one character at a time. The model works on
// a buffer of its own with the same script, so that the virtual calls must
// agree too, in number and order.
#ifndef NALO_TESTS_ISTREAM_MODEL_H
#define NALO_TESTS_ISTREAM_MODEL_H

#include <nalo/istream>
#include <nalo/locale>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
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

// The extractions that move runs, and the gate, one character at a time. The
// others are those of the library.
template <class Char>
class model : public nalo::basic_istream<Char> {
  using base = nalo::basic_istream<Char>;
  using traits = nalo::char_traits<Char>;
  using int_type = typename traits::int_type;
  using string = nalo::basic_string<Char>;
  using buffer = nalo::basic_streambuf<Char>;
  using ctype = nalo::ctype<Char>;
  using iostate = ios_base::iostate;
  using base::gcount_;
  static constexpr int_type none = traits::eof();

 public:
  using base::base;
  using base::get;

  bool sentry(bool noskip) {
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

  void ignore(streamsize n = 1, int_type delim = none) {
    if (n <= 0) return;
    gcount_ = 0;
    extract(true, [&] {
      if (n > 1 || delim != none) {
        this->setstate(take_line(gcount_, n, delim, [](Char) {}) & eofbit);
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
      this->get_num_type().get(&buf(), {}, *this, err, value);
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

 private:
  static bool space(const ctype& facet, int_type ch) {
    return facet.is(ctype::space, traits::to_char_type(ch));
  }
  static iostate left(int_type ch) { return ch == none ? eofbit : goodbit; }
  buffer& buf() { return *this->rdbuf(); }

  // Every extraction: the gate, then the guarded work, then its bits.
  static constexpr auto never = [] { return false; };
  template <class Work, class Failed = decltype(never)>
  void extract(bool noskip, Work work, Failed failed = never) {
    iostate err = goodbit;
    if (sentry(noskip)) {
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
      const int_type ch = take(taken, n - less, stop, store);
      finish();
      this->width(0);
      return left(ch);
    };
    extract(false, work, [&] { return taken == 0; });
  }
  void copy(buffer* to, int_type delim) {
    const auto work = [&] {
      const auto refused = [&](int_type ch) {
        return ch == delim || to->sputc(traits::to_char_type(ch)) == none;
      };
      if (!to) return failbit;
      return left(take(gcount_, no_limit, refused, [](Char) {}));
    };
    gcount_ = 0;
    extract(true, work, [&] { return gcount_ == 0; });
  }
  iostate skip(int_type ch, const ctype& facet) {
    while (ch != none && space(facet, ch)) ch = buf().snextc();
    return left(ch);
  }
  template <class Stop, class Store>
  int_type take(streamsize& taken, streamsize n, Stop stop, Store store) {
    int_type ch = buf().sgetc();
    while (taken < n && ch != none && !stop(ch)) {
      store(traits::to_char_type(ch));
      ++taken;
      ch = buf().snextc();
    }
    return ch;
  }
  // The same up to a delimiter. A whole line takes it too, and needs it.
  template <class Store>
  iostate take_line(streamsize& taken, streamsize n, int_type delim,
                    Store store, bool whole = true) {
    const auto stop = [&](int_type ch) { return ch == delim; };
    const int_type ch = take(taken, n, stop, store);
    if (ch == none || !whole) return left(ch);
    if (ch != delim) return failbit;
    ++taken;
    buf().sbumpc();
    return goodbit;
  }
};

// The classic one, or one that lacks a facet, or one with other white space:
// the colon, and the character that the end of the input reads as.
template <class Char>
const nalo::locale& a_locale(choices& random) {
  const nalo::locale& classic = nalo::locale::classic();
  static nalo::ctype_base::mask table[256] = {};
  for (int ch : {0x20, 0x3A, 0xFF}) table[ch] = nalo::ctype_base::space;
  static const nalo::locale all[] = {
      classic, classic.without_<nalo::ctype<Char>>(),
      classic.without_<nalo::num_get<Char>>(),
      nalo::locale(classic, new nalo::ctype<char>(table))};
  return all[random.below(std::size(all))];
}

// A stream with everything around it: its buffer, a buffer to copy into, a tied
// stream, one log of all their virtual calls; the arguments of operations, and
// where they store.
template <class Char, class Stream>
struct world {
  world(const script<Char>& play, const script<Char>& to,
        const script<Char>& tie, bool is_tied, ios_base::iostate mask)
      : input(play), target(to), tie_buffer(tie), in(&input, mask) {
    if (is_tied) in.tie(&tied);
    input.log_to(log, "");
    target.log_to(log, "target:");
    tie_buffer.log_to(log, "tie:");
  }

  // All that can be seen after an operation.
  auto seen() const {
    return std::tuple(in.rdstate(), in.gcount(), in.width(), value, array,
                      std::basic_string<Char>(str.data(), str.size()),
                      target.output(), input.rest(), log);
  }

  std::string log;
  scripted_streambuf<Char> input, target, tie_buffer;
  nalo::basic_ostream<Char> tied{&tie_buffer};
  Stream in;
  streamsize n;
  Char ch;
  typename nalo::char_traits<Char>::int_type delim;
  nalo::locale loc;
  std::basic_string<Char> array =
      std::basic_string<Char>(input.rest().size() + 1, 'y');
  nalo::basic_string<Char> str;
  long value = 0;
};

template <class World>
using operation = std::pair<const char*, void (*)(World&)>;

#define OP(...)                         \
  {                                     \
    "" #__VA_ARGS__, [](auto& w) {      \
      [[maybe_unused]] auto& in = w.in; \
      __VA_ARGS__;                      \
    }                                   \
  }

template <class World>
const operation<World> operations[] = {
    OP(in.ignore()),
    OP(in.ignore(w.n)),
    OP(in.ignore(w.n, w.delim)),
    OP(in.getline(w.array.data(), w.n, w.ch)),
    OP(in.get(w.array.data(), w.n, w.ch)),
    OP(in.get(w.target, w.ch)),
    OP(in >> (w.n < 0 ? nullptr : &w.target)),
    OP(in >> w.value),
    OP(getstring(in, w.array.data())),
    OP(getstring(in, w.str)),
    OP(getline(in, w.str, w.ch)),
    OP(getline(in, w.str, w.ch, static_cast<size_t>(std::max(w.n, 0L)))),
    OP(ws(in)),
    OP(w.value = in.sentry(w.n < 0)),
    OP(w.value = in.peek()),
    OP(in.unget()),
    OP(in.width(w.n)),
    OP(in.flags(in.flags() ^ in.skipws)),
    OP(in.imbue(w.loc)),
    OP(in.rdbuf(in.rdbuf() ? nullptr : &w.input)),
};

#undef OP

// A stream and its model, and what is done to both.
template <class Char>
class comparison {
  using text = std::basic_string<Char>;
  using string = nalo::basic_string<Char>;

 public:
  explicit comparison(choices& random)
      : comparison(random, short_text(random)) {}
  comparison(choices& random, const text& input)
      : random_(random), input_{.input = input, .get_areas = sizes()} {}

  // Runs one operation on both.
  void step() {
    const bool clear = random_.below(2) == 0;
    const size_t renew = random_.below(20);
    const bool imbue_base = random_.below(6) == 0;
    const size_t which = random_.below(std::size(operations<decltype(real_)>));
    const auto chosen = choose_arguments();
    const nalo::locale& loc = a_locale<Char>(random_);
    const size_t failing = random_.below(20);  // call, or none
    const fault kind = random_.one_of(faults_);
    trace_ += std::string("\n  ") + operations<decltype(real_)>[which].first +
              testing::PrintToString(std::tuple(chosen, failing));

    const auto run = [&]<class World>(World& w) {
      std::tie(w.n, w.ch, w.delim) = chosen;
      w.loc = loc;
      w.input.fail_in(failing, kind);
      // The cached facets stay as they are.
      if (imbue_base) static_cast<ios_base&>(w.in).imbue(loc);
      if (renew < 5) {
        std::destroy_at(&w.str);
        std::construct_at(&w.str, renew > 0
                                      ? string(shared_)
                                      : string(string::c_str(&read_only_, 1)));
      }
      const dump_counter dumps;
      const std::string raised = raised_by([&] {
        if (clear) w.in.clear();
        operations<World>[which].second(w);
      });
      return std::tuple(w.seen(), raised, dumps.count());
    };
    ASSERT_EQ(run(real_), run(expected_)) << trace_;
    ASSERT_EQ(shared_, text(60, 'y')) << trace_;
  }

 private:
  std::vector<size_t> sizes() {
    return {random_.one_of<size_t>({0, 1, 2, 3}),
            random_.one_of<size_t>({0, 1, 5, 64}),
            random_.one_of<size_t>({1, 2, 8, 64})};
  }
  static text short_text(choices& random) {
    using namespace std::string_view_literals;
    return random.text<Char>(random.below(30),
                             widened<Char>("aab17  \n\t:\xE9\xFF\0"sv));
  }
  // An output that takes few characters, or fails early.
  script<Char> output() {
    return {.put_areas = sizes(),
            .accepts = random_.one_of<size_t>({0, 3, 10, 100}),
            .fail_at = random_.below(12),
            .kind = random_.one_of(faults_)};
  }
  auto choose_arguments() {
    using traits = nalo::char_traits<Char>;
    constexpr auto least = std::numeric_limits<streamsize>::min();
    const auto n =
        random_.one_of<streamsize>({least, -1, 0, 1, 2, 3, 5, 8, 40, no_limit});
    const Char ch = widened<Char>({"\n: a\xE9", 6})[random_.below(6)];
    const long value = traits::to_int_type(ch);
    // The second is the same character but for its unused upper bits.
    const long delim = random_.one_of<long>({value, value + 0x100, -1, -23});
    return std::tuple(n, ch, static_cast<typename traits::int_type>(delim));
  }

  static constexpr auto faults_ = {fault::library, fault::standard,
                                   fault::other, fault::refusal};
  static constexpr Char read_only_ = 'x';

  choices& random_;
  const script<Char> input_;
  const script<Char> target_ = output(), tie_ = output();
  const bool is_tied_ = random_.below(3) == 0;
  const ios_base::iostate mask_ =
      static_cast<ios_base::iostate>(random_.below(8));
  const string shared_ = string(60, 'y');
  world<Char, nalo::basic_istream<Char>> real_{input_, target_, tie_, is_tied_,
                                               mask_};
  world<Char, model<Char>> expected_{input_, target_, tie_, is_tied_, mask_};
  std::string trace_ =
      "mask " + std::to_string(mask_) + " input " + shown<Char>(input_.input);
};

}  // namespace nalo_test::input

#endif
