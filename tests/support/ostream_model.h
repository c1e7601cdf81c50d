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

#include "choices.h"
#include "dump_counter.h"
#include "scripted_streambuf.h"
#include "text.h"

namespace nalo_test::output {

using nalo::ios_base;
using nalo::streamsize;

template <class T>
ios_base::iostate bits(T value) {
  return static_cast<ios_base::iostate>(value % 8);
}

// The operations of a basic_ostream in the simplest form.
template <class Char>
class model : public nalo::basic_ios<Char> {
  using traits = nalo::char_traits<Char>;
  using buffer = nalo::basic_streambuf<Char>;
  using num_put = nalo::num_put<Char>;

 public:
  explicit model(buffer* sb) : nalo::basic_ios<Char>(sb) {}

  void tie(model* tied) { tied_ = tied; }

  void flush() {
    if (this->rdbuf()) guarded([&] { sync(); });
  }
  void put(Char ch) {
    operation([&] { return write_one(ch); });
  }
  void write(const Char* s, streamsize n) {
    operation([&] { return write_all(s, n); });
  }
  void insert(const Char* s, streamsize n) {
    operation([&] {
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
    operation([&] {
      const Char fill = this->fill();
      if (!nalo::has_facet<num_put>(this->getloc())) {
        ios_base::throwNullFacetPointer("", 0);
      }
      const auto& facet = nalo::use_facet<num_put>(this->getloc());
      return check(!facet.put(this->rdbuf(), *this, fill, number).failed(),
                   ios_base::badbit);
    });
  }
  void operator<<(buffer* source) {
    if (!check(source, ios_base::badbit)) return;
    operation([&] {
      bool copied = false;
      auto ch = source->sgetc();
      while (ch != traits::eof() &&
             this->rdbuf()->sputc(traits::to_char_type(ch)) != traits::eof()) {
        copied = true;
        ch = source->snextc();
      }
      return check(copied, ios_base::failbit);
    });
  }
  nalo::streampos tellp() {
    nalo::streampos pos(-1);
    const auto tell = [&] {
      pos = this->rdbuf()->pubseekoff(0, ios_base::cur, ios_base::out);
    };
    if (!this->fail()) guarded(tell);
    return pos;
  }
  void seekp(nalo::streampos pos) {
    seek([&] { return this->rdbuf()->pubseekpos(pos, ios_base::out); });
  }
  void seekp(nalo::streamoff off, ios_base::seekdir way) {
    seek([&] { return this->rdbuf()->pubseekoff(off, way, ios_base::out); });
  }

 private:
  // Passes the gate; syncs behind work that answers that it succeeded.
  template <class Work>
  void operation(Work work) {
    if (tied_ && this->good()) tied_->flush();
    if (!check(this->good(), ios_base::failbit)) return;
    guarded([&] {
      if (work() && (this->flags() & ios_base::unitbuf) != 0) sync();
    });
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

template <class Char>
script<Char> play(choices& random) {
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

// A stream, another one that it may be tied to, and a source to copy from; one
// call of one of their buffers is going to fail.
template <class Char, class Stream>
struct world {
  using buffer = scripted_streambuf<Char>;

  explicit world(choices& random)
      : buf(play<Char>(random)),
        tied_buf(play<Char>(random)),
        source(play<Char>(random)) {
    buf.log_to(log, "");
    tied_buf.log_to(log, "tied:");
    source.log_to(log, "source:");
    const auto kind =
        random.one_of({fault::none, fault::library, fault::standard,
                       fault::other, fault::refusal});
    const size_t victim = random.below(8), at = 1 + random.below(12);
    (victim == 0 ? tied_buf : victim < 3 ? source : buf).fail_in(at, kind);
    out.clear(bits(random.below(8)));
    const auto mask = bits(random.below(8));
    raised_by([&] { out.exceptions(mask); });
    tied.exceptions(bits(random.below(8)));
  }

  // Runs one operation and tells all that can be seen of it.
  std::string run(choices& random) {
    using ios = ios_base;
    using nalo::locale;
    using W = world&;
    static const locale locales[] = {locale(), locale(),
                                     locale().without_<nalo::ctype<Char>>(),
                                     locale().without_<nalo::num_put<Char>>()};
    static constexpr ios::fmtflags adjustments[] = {
        ios::left, ios::internal, ios::right, ios::left | ios::right};
    static constexpr void (*operations[])(W) = {
        [](W w) { w.out.put(w.text.c_str()[0]); },
        [](W w) { w.out.write(w.text.data(), w.size); },
        [](W w) { w.out.insert(w.text.data(), w.size); },
        [](W w) { w.out << w.text.c_str()[0]; },
        [](W w) { w.out << 100L - w.number; },
        [](W w) { w.out << w.sources[0]; },
        [](W w) { w.out << w.sources[1]; },
        [](W w) { w.out.flush(); },
        [](W w) { w.log += std::to_string(w.out.tellp() - 0); },
        [](W w) { w.out.seekp(nalo::streampos(w.number - 2)); },
        [](W w) { w.out.seekp(2 - w.number, ios::cur); },
        [](W w) { w.out.width(w.number - 2); },
        [](W w) { w.out.width(1); },
        [](W w) { w.log += std::to_string(w.out.fill(w.text.c_str()[0])); },
        [](W w) { w.out.flags(adjustments[w.number % 4]); },
        [](W w) { w.out.setf(ios::unitbuf); },
        [](W w) { w.out.tie(w.ties[w.number % 4]); },
        [](W w) { w.out.exceptions(bits(w.number)); },
        [](W w) { w.out.rdbuf(w.number < 3 ? nullptr : &w.buf); },
        [](W w) { w.out.imbue(locales[w.number % 4]); },
        [](W w) { w.out.clear(bits(w.number)); },
        [](W w) { w.out.clear(); },
    };
    const size_t which = random.below(256);
    number = static_cast<int>(random.below(16));
    size = static_cast<streamsize>(random.below(8));
    text.assign(static_cast<size_t>(size),
                random.one_of({Char('a'), Char('.'), Char(), Char(-1)}));
    const dump_counter dumps;
    log.clear();
    log += raised_by([&] { operations[which % std::size(operations)](*this); });
    return log + " dumps " + std::to_string(dumps.count()) + " state " +
           std::to_string(out.rdstate()) + " tied " +
           std::to_string(tied.rdstate()) + " width " +
           std::to_string(out.width()) + " output " +
           shown<Char>(buf.output()) + " rest " + shown<Char>(source.rest());
  }

  std::string log;
  int number;
  streamsize size;
  std::basic_string<Char> text;
  buffer buf, tied_buf, source;
  Stream out{&buf}, tied{&tied_buf};
  Stream* const ties[4] = {nullptr, nullptr, &out, &tied};
  nalo::basic_streambuf<Char>* const sources[2] = {&source, nullptr};
};

// A stream and its model, which get the same choices.
template <class Char>
class comparison {
 public:
  explicit comparison(choices& random)
      : random_(random), same_(random), real_(same_), expected_(random) {}

  // Runs one operation on both.
  void step() {
    const std::string seen = real_.run(same_);
    ASSERT_EQ(seen, expected_.run(random_)) << trace_;
    trace_ += "\n" + seen;
  }

 private:
  choices& random_;
  choices same_;
  world<Char, nalo::basic_ostream<Char>> real_;
  world<Char, model<Char>> expected_;
  std::string trace_ = "after";
};

}  // namespace nalo_test::output

#endif
