// The conformance kit: a sound buffer passes, and every flaw is found by the
// check that is there for it.
#include <nalo/testing>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using nalo::ios_base, nalo::streamoff, nalo::streamsize;

// Input in areas of three characters, output in areas of four up to a limit,
// with a position for each, and one flaw.
template <class Char>
class flawed_buffer : public nalo::basic_streambuf<Char> {
  using base = nalo::basic_streambuf<Char>;
  using traits = typename base::traits_type;
  using int_type = typename traits::int_type;
  using text = std::basic_string<Char>;

 public:
  explicit flawed_buffer(std::string_view flaw, text input = {})
      : flaw_(flaw), input_(std::move(input)) {
    place(0, 0);
    if (is("wild at first")) this->setp(area_ + 1, area_);
  }
  text output() const { return output_; }

 private:
  bool is(std::string_view flaw) const { return flaw_ == flaw; }
  streamoff in_size() const { return static_cast<streamoff>(input_.size()); }
  streamoff in_at() const { return this->gptr() - input_.data(); }
  void place(streamoff at, streamoff size) {
    Char* const next = input_.data() + at;
    this->setg(next, next, next + size);
  }

  int_type underflow() override {
    const auto at = in_at();
    if (is("raises at 6") && at == 6) throw std::runtime_error("six");
    if (at == in_size() && !(is("no end") && ++ends_ == 2))
      return traits::eof();
    if (at == in_size()) input_ += Char('x');
    depth_ = 0;
    place(at, std::min<streamoff>(3, in_size() - at));
    const Char ch = *this->gptr();
    if (is("underflow takes")) this->gbump(1);
    if (is("get area"))
      this->setg(this->eback(), this->egptr() + 1, this->egptr());
    return traits::to_int_type(is("underflow other") ? Char(ch + 1) : ch);
  }
  int_type uflow() override {
    return is("uflow stays") ? underflow() : base::uflow();
  }
  streamsize xsgetn(Char* s, streamsize n) override {
    if (is("xsgetn of none") && n == 0) return 1;
    if (is("xsgetn of less") && n < 0) return n;
    if (is("xsgetn short") && n > 3) n = 3;
    const auto got = base::xsgetn(s, n);
    if (is("xsgetn more") && n > 0) s[n] = Char('x');
    if (is("xsgetn other") && n > 0) s[0] = Char('x');
    return got;
  }
  int_type pbackfail(int_type ch) override {
    const auto at = in_at();
    if (at == 0) return is("pbackfail before") ? Char('x') : traits::eof();
    if (is("pbackfail deep") && ++depth_ == 9) return Char('x');
    if (is("pbackfail moves")) return place(at - 1, 1), traits::eof();
    Char& last = input_[static_cast<size_t>(at - 1)];
    if (is("pbackfail stays")) return traits::to_int_type(last);
    place(at - 1, 1);
    if (is("pbackfail lies")) return Char('x');
    if (ch == traits::eof()) return traits::to_int_type(last);
    if (!is("pbackfail keeps")) last = traits::to_char_type(ch);
    return ch;
  }
  streamsize showmanyc() override {
    const auto left = in_size() - in_at();
    if (is("showmanyc more")) return left + 1;
    if (left == 0) return is("showmanyc at end") ? -2 : -1;
    return is("showmanyc less") ? -1 : left;
  }

  int_type overflow(int_type ch) override {
    const bool is_eof = ch == traits::eof();
    drain();
    const auto room = std::min<streamoff>(4, 60 - out_at_);
    if (room <= 0) {
      if (is("overflow refuses") && !is_eof) output_ += Char(ch);
      return is_eof ? traits::not_eof(ch) : traits::eof();
    }
    this->setp(area_, area_ + room);
    if (is("put area")) this->pbump(5);
    if (is_eof ? is("overflow of eof") : !is("overflow drops"))
      this->sputc(traits::to_char_type(ch));
    return traits::not_eof(ch);
  }
  streamsize xsputn(const Char* s, streamsize n) override {
    if (is("xsputn of none") && n == 0) return 1;
    if (is("xsputn of less") && n < 0) return n;
    if (is("xsputn fails") && n > 0) return -1;
    const auto put = base::xsputn(s, n);
    if (is("xsputn counts more") && put > 4) return n + 1;
    return is("xsputn counts all") && n > 0 ? n : put;
  }
  void drain() {
    const auto n = this->pptr() - this->pbase();
    output_.resize(std::max(output_.size(), static_cast<size_t>(out_at_ + n)));
    std::copy_n(this->pbase(), n, output_.begin() + out_at_);
    out_at_ += n;
    this->setp(nullptr, nullptr);
  }
  int sync() override {
    if (is("sync fails")) return -1;
    if (is("sync takes")) this->stossc();
    const text pending(this->pbase(), this->pptr());
    if (!is("sync keeps")) drain();
    if (is("sync again")) output_ += pending_;
    pending_ = pending;
    return 0;
  }

  nalo::streampos seekoff(streamoff off, ios_base::seekdir way,
                          ios_base::openmode mode) override {
    const bool in = (mode & ios_base::in) != 0;
    const bool tells = way == ios_base::cur && off == 0;
    if (is("no position") || is("no end") || is("seekpos alone")) return -1;
    if (is("tell refused") && tells) return -1;
    if (is("tell from 1") && tells && in) return in_at() + 1;
    if (is("tell late") && tells && !in) return out_at_;
    if (!in) drain();
    const auto size = in ? in_size() : static_cast<streamoff>(output_.size());
    auto to = off + (way == ios_base::beg   ? 0
                     : way == ios_base::end ? size
                     : in                   ? in_at()
                                            : out_at_);
    if (is("seek from end") && way == ios_base::end) --to;
    if (is("seek from here") && way == ios_base::cur && !tells) to = off;
    if (is("seek before")) to = std::max<streamoff>(to, 0);
    if (is("seek behind")) to = std::min(to, size);
    if (to < 0 || to > size) {
      if (is("refusal moves") && in && to > 0) place(0, 0);
      if (is("refusal moves output") && !in) out_at_ = 0;
      return -1;
    }
    if (in && !tells) place(to, 0);
    if (!in && !is("output stays")) out_at_ = to;
    return to;
  }
  nalo::streampos seekpos(nalo::streampos pos,
                          ios_base::openmode mode) override {
    if (is("seekpos stays") || is("seekpos alone")) return pos;
    return seekoff(pos, ios_base::beg, mode) + (is("seekpos other") ? 1 : 0);
  }

  std::string_view flaw_;
  text input_;
  int ends_ = 0, depth_ = 0;
  text output_;
  text pending_;
  streamoff out_at_ = 0;
  Char area_[4];
};

template <class Char>
std::string reports(std::string_view flaw) {
  using buffer = flawed_buffer<Char>;
  std::basic_string<Char> text;
  for (int n = 0; n < 50; ++n) text += Char('0' + n % 75);
  auto found = nalo::testing::check_input<Char>(
      [&] { return std::make_unique<buffer>(flaw, text); }, text);
  const auto more = nalo::testing::check_output<Char>(
      [&] { return std::make_unique<buffer>(flaw); },
      [](const buffer& b) { return b.output(); }, 75);
  found.insert(found.end(), more.begin(), more.end());
  std::string all;
  for (const auto& violation : found) all += '\n' + violation;
  return all;
}

template <class Char>
class Conformance : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Conformance, Chars);

TYPED_TEST(Conformance, FindsEveryFlaw) {
  const struct {
    const char* flaw;
    const char* report;  // one begins with it
  } rows[] = {
#ifndef NALO_HARDENED  // which stops the buffer itself
      {"wild at first", "construction: expected the pointers of the put area"},
      {"get area", "sgetc() at 0: expected the pointers of the get area"},
      {"put area", "overflow(eof) at 0: expected the pointers of the put area"},
#endif
      {"raises at 6", "sgetc() at 6: expected no exception, saw six"},
      {"no end", "sbumpc() at 50: expected eof, saw 'x'"},
      {"underflow takes", "sbumpc() at 0: expected '0', saw '1'"},
      {"underflow other", "sgetc() at 0: expected '0', saw '1'"},
      {"uflow stays", "sbumpc() at 1: expected '1', saw '0'"},
      {"xsgetn of none", "sgetn(0) at 0: expected 0, saw 1"},
      {"xsgetn of less", "sgetn(-1) at 0: expected 0, saw -1"},
      {"xsgetn short", "sgetn(4) at 0: expected 4, saw 3"},
      {"xsgetn more", "sgetn(1) at 0: expected no more than was asked for"},
      {"xsgetn other", "sgetn(1) at 0: expected '0' as character 0, saw 'x'"},
      {"pbackfail before", "sungetc() at 0: expected eof, saw 'x'"},
      {"pbackfail before", "sputbackc('0') at 0: expected eof, saw 'x'"},
      {"pbackfail moves", "sbumpc() at 1: expected '1', saw '0'"},
      {"pbackfail stays", "sungetc() at 2: expected '1', saw '2'"},
      {"pbackfail stays", "sputbackc('1') at 2: expected '1', saw '2'"},
      {"pbackfail lies", "sputbackc('1') at 1: expected '1', saw 'x'"},
      {"pbackfail keeps", "sbumpc() at 0: expected '1', saw '0'"},
      {"showmanyc more", "in_avail() at 0: expected 0 to 50, saw 51"},
      {"showmanyc less", "in_avail() at 0: expected 0 to 50, saw -1"},
      {"showmanyc at end", "in_avail() at 50: expected -1 to 0, saw -2"},
      {"sync takes", "sbumpc() at 0: expected '0', saw '1'"},
      {"sync fails", "pubsync() at 0: expected 0, saw -1"},
      {"tell from 1", "pubseekoff(0, cur) at 0: expected 0, saw 1"},
      {"tell refused", "pubseekoff(0, beg) at 0: expected -1, saw 0"},
      {"seek from end", "pubseekoff(0, end) at 0: expected 50, saw 49"},
      {"seek from here", "pubseekoff(1, cur) at 50: expected 51, saw 1"},
      {"seek before", "pubseekoff(-1, beg) at 50: expected -1, saw 0"},
      {"seek behind", "pubseekoff(51, beg) at 50: expected 51, saw 50"},
      {"refusal moves", "sbumpc() at 50: expected eof, saw '0'"},
      {"seekpos stays", "pubseekoff(50, cur) at 0: expected 50, saw -1"},
      {"seekpos alone", "pubseekpos(0) at 0: expected -1, saw 0"},
      {"seekpos other", "pubseekpos(0) at 50: expected 0, saw 1"},
      {"pbackfail deep", "sputbackc('9') at 1: expected '9', saw 'x'"},
      {"overflow of eof", "pubsync() at 45: expected "},
      {"overflow drops", "pubsync() at 75: expected "},
      {"overflow refuses", "pubsync() at 60: expected none as character 60"},
      {"xsputn of none", "sputn(0) at 0: expected 0, saw 1"},
      {"xsputn of less", "sputn(-1) at 0: expected 0, saw -1"},
      {"xsputn fails", "sputn(1) at 0: expected 0 to 1, saw -1"},
      {"xsputn counts more", "sputn(5) at 0: expected 0 to 5, saw 6"},
      {"xsputn counts all", "pubsync() at 62: expected "},
      {"sync fails", "pubsync() at 60: expected 0, saw -1"},
      {"sync keeps", "pubsync() at 5: expected "},
      {"sync again", "pubsync() at 10: expected none as character 10, saw "},
      {"tell late", "pubseekoff(0, cur) at 1: expected 1, saw 0"},
      {"output stays", "pubseekoff(0, cur) at 1: expected 1, saw 2"},
      {"refusal moves output",
       "pubseekoff(-1, cur) at 1: expected the same as from the beginning"},
  };
  EXPECT_EQ(reports<TypeParam>("none"), "");
  EXPECT_EQ(reports<TypeParam>("no position"), "");
  for (const auto& row : rows) {
    const auto all = reports<TypeParam>(row.flaw);
    EXPECT_NE(all.find(std::string("\n") + row.report), all.npos)
        << row.flaw << ": " << row.report << " is not among:" << all;
  }
}

// A buffer without a text against a text of one character.
TYPED_TEST(Conformance, ReportsWhatIsWrongOutsideOfTheOperations) {
  using owner = std::unique_ptr<flawed_buffer<TypeParam>>;
  const auto first = [](TypeParam ch, auto make) {
    return nalo::testing::check_input<TypeParam>(make, {&ch, 1}).at(0);
  };
  EXPECT_EQ(first(0, []() -> owner { throw std::runtime_error("made"); }),
            "outside of the buffer: expected no exception, saw made");
  const struct {
    char ch;
    const char* shown;
  } rows[] = {
      {0, "0x0"}, {' ', "0x20"}, {'!', "'!'"}, {'~', "'~'"}, {'\x7F', "0x7f"}};
  for (const auto& row : rows) {
    EXPECT_EQ(first(TypeParam(row.ch),
                    [] { return owner(new flawed_buffer<TypeParam>({})); }),
              std::string("sgetc() at 0: expected ") + row.shown + ", saw eof");
  }
}

TYPED_TEST(Conformance, TriesEveryCharacter) {
  const auto text = nalo::testing::sample_text<TypeParam>(10'000);
  const std::set<TypeParam> all(text.begin(), text.end());
  for (int n = 0; n < 256; ++n)
    EXPECT_TRUE(all.contains(static_cast<TypeParam>(n))) << n;
  EXPECT_EQ(*all.rbegin() > 255, sizeof(TypeParam) > 1);
}

}  // namespace
