// Random output operations over random put areas, with every exception mask and
// state to start with and a failure of every kind at some virtual call, against
// a model that writes one character at a time. The model has buffers of its own
// with the same scripts, so that the virtual calls must agree too, in number
// and order.
#ifndef NALO_TESTS_OSTREAM_MODEL_H
#define NALO_TESTS_OSTREAM_MODEL_H

#include <nalo/ostream>

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <utility>

#include "choices.h"
#include "dump_counter.h"
#include "scripted_streambuf.h"
#include "text.h"

namespace nalo_test::output {

using nalo::ios_base;
using nalo::streamsize;

inline ios_base::iostate bits(size_t value) {
  return static_cast<ios_base::iostate>(value);
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

// What one operation works with.
template <class Char>
struct step {
  explicit step(choices& random)
      : operation(random.below(256)),
        number(static_cast<unsigned>(random.below(16))),
        offset(static_cast<int>(number) - 2),
        text(random.below(8),
             random.one_of({Char('a'), Char('.'), Char(), Char(-1)})) {}

  size_t operation;
  unsigned number;
  int offset;
  std::basic_string<Char> text;
};

// What the buffers of a world play.
template <class Char>
struct scripts {
  explicit scripts(choices& random)
      : buf(play(random)), tied(play(random)), source(play(random)) {}

  static script<Char> play(choices& random) {
    script<Char> result;
    for (auto* areas : {&result.get_areas, &result.put_areas}) {
      *areas = {random.below(5), random.below(5), random.below(5)};
    }
    result.input.assign(random.below(9), 'i');
    if (random.below(8) == 0) result.input += static_cast<Char>(-1);
    if (random.below(2) == 0) result.accepts = random.below(30);
    result.seekable = random.below(2) == 0;
    return result;
  }

  script<Char> buf, tied, source;
};

// A stream, another one that it may be tied to, and a source to copy from.
template <class Char, class Stream>
struct world {
  explicit world(const scripts<Char>& play)
      : buf(play.buf), tied_buf(play.tied), source(play.source) {
    buf.log_to(log, "");
    tied_buf.log_to(log, "tied:");
    source.log_to(log, "source:");
  }

  // Runs one operation and tells all that can be seen of it.
  std::string run(const step<Char>& chosen) {
    const dump_counter dumps;
    const std::string raised = raised_by([&] { perform(chosen); });
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

// A stream and its model, with a failure to come in one of their buffers.
template <class Char>
class comparison {
 public:
  explicit comparison(choices& random) : random_(random) {
    const auto kind =
        random.one_of({fault::none, fault::library, fault::standard,
                       fault::other, fault::refusal});
    const size_t victim = random.below(8), at = 1 + random.below(12);
    const auto state = bits(random.below(8)), mask = bits(random.below(8)),
               tied_mask = bits(random.below(8));
    const auto prepare = [&](auto& w) {
      auto& buf = victim == 0 ? w.tied_buf : victim < 3 ? w.source : w.buf;
      buf.fail_in(at, kind);
      w.tied.exceptions(tied_mask);
      w.out.clear(state);
      raised_by([&] { w.out.exceptions(mask); });
    };
    prepare(real_);
    prepare(expected_);
  }

  // Runs one operation on both.
  void step() {
    const output::step<Char> chosen(random_);
    const std::string seen = real_.run(chosen);
    ASSERT_EQ(seen, expected_.run(chosen)) << trace_;
    trace_ += "\n" + seen;
  }

 private:
  choices& random_;
  const scripts<Char> play_{random_};
  world<Char, nalo::basic_ostream<Char>> real_{play_};
  world<Char, model<Char>> expected_{play_};
  std::string trace_ = "after";
};

}  // namespace nalo_test::output

#endif
