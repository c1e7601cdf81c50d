// Random sequences of output operations over random put areas, with every
// exception mask and state to start with and a failure of every kind at some
// virtual call, against a model that writes one character at a time. The model
// has buffers of its own with the same scripts, so that the virtual calls must
// agree too, in number and order.
#include <nalo/ostream>

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <random>
#include <string>
#include <utility>

#include "dump_counter.h"
#include "scripted_streambuf.h"
#include "text.h"

namespace {

using nalo::ios_base;
using nalo::streamsize;
using nalo_test::fault;
using nalo_test::script;
using nalo_test::scripted_streambuf;

template <class Bits = ios_base::iostate>
Bits bits(unsigned value) {
  return static_cast<Bits>(value);
}

// The operations of a basic_ostream in the simplest form.
template <class Char>
class model : public nalo::basic_ios<Char> {
  using traits = nalo::char_traits<Char>;
  using buffer = nalo::basic_streambuf<Char>;

 public:
  explicit model(buffer* sb) : nalo::basic_ios<Char>(sb) {}

  void tie(model* tied) { tied_ = tied; }

  void flush() {
    if (this->rdbuf()) guarded([&] { sync(); });
  }
  void put(Char ch) {
    behind_sentry([&] {
      if (write_one(ch)) unitsync();
    });
  }
  void write(const Char* s, streamsize n) {
    behind_sentry([&] {
      if (write_all(s, n)) unitsync();
    });
  }
  void insert(const Char* s, streamsize n) {
    behind_sentry([&] {
      const streamsize padding = this->width() - n;
      const Char fill = padding > 0 ? this->fill() : Char();
      if ((this->flags() & ios_base::adjustfield) == ios_base::left) {
        if (write_all(s, n)) pad(padding, fill);
      } else {
        if (pad(padding, fill)) write_all(s, n);
      }
      this->width(0);
      unitsync();
    });
  }
  void operator<<(long number) {
    behind_sentry([&] {
      using num_put = nalo::num_put<Char>;
      const Char fill = this->fill();
      if (!nalo::has_facet<num_put>(this->getloc())) {
        ios_base::throwNullFacetPointer("", 0);
      }
      const nalo::ostreambuf_iterator<Char> to(this->rdbuf());
      const bool failed = nalo::use_facet<num_put>(this->getloc())
                              .put(to, *this, fill, number)
                              .failed();
      if (check(!failed, ios_base::badbit)) unitsync();
    });
  }
  void operator<<(buffer* source) {
    if (!check(source, ios_base::badbit)) return;
    behind_sentry([&] {
      streamsize copied = 0;
      auto ch = source->sgetc();
      while (ch != traits::eof() &&
             this->rdbuf()->sputc(traits::to_char_type(ch)) != traits::eof()) {
        ++copied;
        ch = source->snextc();
      }
      if (check(copied != 0, ios_base::failbit)) unitsync();
    });
  }
  nalo::streampos tellp() {
    nalo::streampos pos(-1);
    seek([&] {
      pos = this->rdbuf()->pubseekoff(0, ios_base::cur, ios_base::out);
      return nalo::streampos(0);
    });
    return pos;
  }
  void seekp(nalo::streampos pos) {
    seek([&] { return this->rdbuf()->pubseekpos(pos, ios_base::out); });
  }
  void seekp(nalo::streamoff off, ios_base::seekdir way) {
    seek([&] { return this->rdbuf()->pubseekoff(off, way, ios_base::out); });
  }

 private:
  template <class Work>
  void behind_sentry(Work work) {
    if (tied_ && this->good()) tied_->flush();
    if (check(this->good(), ios_base::failbit)) guarded(work);
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
  template <class Move>
  void seek(Move move) {
    if (this->fail()) return;
    guarded([&] { check(move() - 0 != -1, ios_base::failbit); });
  }
  void sync() { check(this->rdbuf()->pubsync() != -1, ios_base::badbit); }
  void unitsync() {
    if ((this->flags() & ios_base::unitbuf) != 0) sync();
  }
  bool write_one(Char ch) {
    return check(this->rdbuf()->sputc(ch) != traits::eof(), ios_base::badbit);
  }
  bool write_all(const Char* s, streamsize n) {
    return check(this->rdbuf()->sputn(s, n) == n, ios_base::badbit);
  }
  bool pad(streamsize n, Char fill) {
    while (n > 0 && write_one(fill)) --n;
    return n <= 0;
  }
  // Sets a bit for what did not succeed.
  bool check(bool success, ios_base::iostate bit) {
    if (!success) this->setstate(bit);
    return success;
  }

  model* tied_ = nullptr;
};

using random = std::mt19937;

template <class Char>
script<Char> random_script(random& rng) {
  script<Char> play;
  for (auto* areas : {&play.get_areas, &play.put_areas}) {
    *areas = {rng() % 5, rng() % 5, rng() % 5};
  }
  play.input.assign(rng() % 9, 'i');
  if (rng() % 8 == 0) play.input += static_cast<Char>(-1);
  if (rng() % 2 == 0) play.accepts = rng() % 30;
  play.seekable = rng() % 2 == 0;
  return play;
}

// What one operation works with.
template <class Char>
struct step {
  explicit step(random& rng)
      : operation(rng()),
        number(rng() % 16),
        offset(static_cast<int>(number) - 2),
        text(rng() % 8, std::array<Char, 3>{'a', '.', Char(-1)}[rng() % 3]) {}

  size_t operation;
  unsigned number;
  int offset;
  std::basic_string<Char> text;
};

// A stream, another one that it may be tied to, and a source to copy from.
template <class Char, class Stream>
struct world {
  explicit world(random rng)  // by value: the twin gets the same scripts
      : buf(random_script<Char>(rng)),
        tied_buf(random_script<Char>(rng)),
        source(random_script<Char>(rng)) {
    buf.log_to(log, "");
    tied_buf.log_to(log, "tied:");
    source.log_to(log, "source:");
  }

  // Runs one operation and tells all that can be seen of it.
  std::string run(const step<Char>& chosen) {
    const nalo_test::dump_counter dumps;
    const std::string raised = nalo_test::raised_by([&] { perform(chosen); });
    log += raised + " dumps " + std::to_string(dumps.count()) + " state " +
           std::to_string(out.rdstate()) + " tied " +
           std::to_string(tied.rdstate()) + " width " +
           std::to_string(out.width()) + " output " + shown(buf.output()) +
           " rest " + shown(source.rest());
    return std::exchange(log, "");
  }
  void perform(const step<Char>& chosen) {
    using ios = ios_base;
    using streambuf = nalo::basic_streambuf<Char>;
    static const nalo::locale locales[] = {
        nalo::locale(), nalo::locale(),
        nalo::locale().without_<nalo::ctype<Char>>(),
        nalo::locale().without_<nalo::num_put<Char>>()};
    static constexpr ios::fmtflags adjustments[] = {
        ios::left, ios::internal, ios::right, ios::left | ios::right};
    using W = world&;
    using S = const step<Char>&;
    static constexpr void (*operations[])(W, S) = {
        [](W w, S s) { w.out.put((s.text + Char('p'))[0]); },
        [](W w, S s) { w.out.write(s.text.data(), size(s)); },
        [](W w, S s) { w.out.insert(s.text.data(), size(s)); },
        [](W w, S s) { w.out.insert(s.text.data(), size(s)); },
        [](W w, S s) { w.out << 100L - s.number; },
        [](W w, S) { w.out << static_cast<streambuf*>(&w.source); },
        [](W w, S) { w.out << static_cast<streambuf*>(nullptr); },
        [](W w, S) { w.out.flush(); },
        [](W w, S) { w.log += std::to_string(w.out.tellp() - 0); },
        [](W w, S s) { w.out.seekp(nalo::streampos(s.offset)); },
        [](W w, S s) { w.out.seekp(-s.offset, ios::cur); },
        [](W w, S s) { w.out.width(s.offset); },
        [](W w, S s) { w.out.width(s.offset); },
        [](W w, S s) { w.log += shown({w.out.fill((s.text + Char('f'))[0])}); },
        [](W w, S s) { w.out.flags(adjustments[s.number % 4]); },
        [](W w, S) { w.out.setf(ios::unitbuf); },
        [](W w, S s) { w.tie(s.number % 4); },
        [](W w, S s) { w.out.exceptions(bits(s.number % 8)); },
        [](W w, S s) { w.out.rdbuf(s.number < 3 ? nullptr : &w.buf); },
        [](W w, S s) { w.out.imbue(locales[s.number % 4]); },
        [](W w, S s) { w.out.clear(bits(s.number % 8)); },
        [](W w, S) { w.out.clear(); },
    };
    operations[chosen.operation % std::size(operations)](*this, chosen);
  }
  void tie(unsigned which) {
    Stream* const streams[] = {nullptr, nullptr, &out, &tied};
    out.tie(streams[which]);
  }
  static streamsize size(const step<Char>& s) {
    return static_cast<streamsize>(s.text.size());
  }
  static std::string shown(const std::basic_string<Char>& s) {
    return nalo_test::shown<Char>(s);
  }

  std::string log;
  scripted_streambuf<Char> buf, tied_buf, source;
  Stream out{&buf}, tied{&tied_buf};
};

template <class Char>
class OstreamModel : public testing::Test {};
using characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(OstreamModel, characters);

TYPED_TEST(OstreamModel, AgreesOnEveryMaskStateAndFault) {
  constexpr fault kinds[] = {fault::none, fault::library, fault::standard,
                             fault::other, fault::refusal};
  for (unsigned seed = 0; seed < 8 * 8 * 5 * 4; ++seed) {
    random rng(seed);
    world<TypeParam, nalo::basic_ostream<TypeParam>> real(rng);
    world<TypeParam, model<TypeParam>> expected(rng);
    const size_t victim = rng() % 8, at = 1 + rng() % 12;
    const auto tied_mask = bits(rng() % 8);
    const auto prepare = [&](auto& w) {
      auto& buf = victim == 0 ? w.tied_buf : victim < 3 ? w.source : w.buf;
      buf.fail_in(at, kinds[seed / 64 % 5]);
      w.tied.exceptions(tied_mask);
      w.out.clear(bits(seed / 8 % 8));
      nalo_test::raised_by([&] { w.out.exceptions(bits(seed % 8)); });
    };
    prepare(real);
    prepare(expected);
    std::string trace = "seed " + std::to_string(seed);
    for (int i = 0; i < 25; ++i) {
      const step<TypeParam> s(rng);
      trace += '\n';
      const std::string seen = real.run(s);
      ASSERT_EQ(seen, expected.run(s)) << trace;
      trace += seen;
    }
  }
}

}  // namespace
