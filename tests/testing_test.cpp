// The conformance kit: a sound buffer passes, and every flaw is found by the
// check that is there for it.
#include <nalo/testing>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using nalo::ios_base;

enum class flaw {
  none,
  get_area,
  underflow_takes,
  underflow_raises,
  uflow_stays,
  eof_ends,
  narrowed,
  xsgetn_short,
  xsgetn_more,
  xsgetn_negative,
  pbackfail_lies,
  pbackfail_moves,
  pbackfail_other,
  showmanyc_more,
  showmanyc_less,
  sync_takes,
  position_unknown,
  tell_refused,
  seek_cur,
  seek_end,
  seek_before,
  seek_behind,
  seek_moves,
  seekpos_stays,
  put_area,
  overflow_drops,
  overflow_refuses,
  overflow_eof,
  xsputn_counts,
  xsputn_negative,
  xsputn_wild,
  sync_fails,
  sync_keeps,
  sync_again,
  tell_late,
  seekp_stays,
  seekp_moves,
};

// Input in areas of three characters, output in areas of four up to a limit,
// with a position for each, and one flaw.
template <class Char>
class flawed_buffer : public nalo::basic_streambuf<Char> {
  using base = nalo::basic_streambuf<Char>;
  using traits = typename base::traits_type;
  using int_type = typename traits::int_type;
  using text = std::basic_string<Char>;

 public:
  static constexpr nalo::streamoff limit = 200;

  explicit flawed_buffer(flaw has, text input = {})
      : has_(has), input_(std::move(input)) {
    place(0, 0);
  }
  text output() const { return output_; }

 private:
  bool is(flaw f) const { return has_ == f; }
  nalo::streamoff in_size() const {
    return static_cast<nalo::streamoff>(input_.size());
  }
  nalo::streamoff in_at() const { return this->gptr() - input_.data(); }
  void place(nalo::streamoff at, nalo::streamoff size) {
    Char* const next = input_.data() + at;
    this->setg(next, next, next + size);
  }

  int_type underflow() override {
    const auto at = in_at();
    if (is(flaw::underflow_raises) && at > 5) throw std::runtime_error("five");
    if (at == in_size()) {
      if (!is(flaw::eof_ends) || !ended_) return ended_ = true, traits::eof();
      input_ += Char('x');
    }
    place(at, std::min<nalo::streamoff>(3, in_size() - at));
    const Char ch = *this->gptr();
    if (is(flaw::underflow_takes)) this->gbump(1);
    if (is(flaw::get_area))
      this->setg(this->eback(), this->egptr() + 1, this->egptr());
    return is(flaw::narrowed) ? static_cast<int_type>(ch & 0x7F)
                              : traits::to_int_type(ch);
  }
  int_type uflow() override {
    return is(flaw::uflow_stays) ? underflow() : base::uflow();
  }
  nalo::streamsize xsgetn(Char* s, nalo::streamsize n) override {
    if (is(flaw::xsgetn_negative) && n < 0) return n;
    if (is(flaw::xsgetn_short) && n > 3) n = 3;
    const auto got = base::xsgetn(s, n);
    if (is(flaw::xsgetn_more) && n > 0) s[n] = Char();
    return got;
  }
  int_type pbackfail(int_type ch) override {
    const auto at = in_at();
    if (at == 0 || is(flaw::pbackfail_moves)) {
      if (at != 0) place(at - 1, 1);
      return traits::eof();
    }
    const int_type last =
        traits::to_int_type(input_[static_cast<size_t>(at - 1)]);
    if (is(flaw::pbackfail_lies)) return last;
    if (ch != traits::eof() && ch != last) {
      return is(flaw::pbackfail_other) ? ch : traits::eof();
    }
    place(at - 1, 1);
    return last;
  }
  nalo::streamsize showmanyc() override {
    const auto left = in_size() - in_at();
    if (is(flaw::showmanyc_more)) return left + 1;
    return left == 0 || is(flaw::showmanyc_less) ? -1 : left;
  }

  int_type overflow(int_type ch) override {
    const bool is_eof = ch == traits::eof();
    drain();
    const auto room = std::min<nalo::streamoff>(4, limit - out_at_);
    if (room <= 0) {
      if (is(flaw::overflow_refuses) && !is_eof) output_ += Char(ch);
      return is_eof ? traits::not_eof(ch) : traits::eof();
    }
    this->setp(area_, area_ + room);
    if (is(flaw::put_area)) this->pbump(5);
    if (!(is_eof && !is(flaw::overflow_eof)) && !is(flaw::overflow_drops)) {
      this->sputc(traits::to_char_type(ch));
    }
    return traits::not_eof(ch);
  }
  nalo::streamsize xsputn(const Char* s, nalo::streamsize n) override {
    if (is(flaw::xsputn_negative) && n < 0) return n;
    if (is(flaw::xsputn_wild) && n > 0) return n < 5 ? -1 : n + 1;
    const auto put = base::xsputn(s, n);
    return is(flaw::xsputn_counts) ? std::max<nalo::streamsize>(n, 0) : put;
  }
  void drain() {
    const auto n = this->pptr() - this->pbase();
    output_.resize(std::max(output_.size(), static_cast<size_t>(out_at_ + n)));
    std::copy_n(this->pbase(), n, output_.begin() + out_at_);
    out_at_ += n;
    this->setp(nullptr, nullptr);
  }
  int sync() override {
    if (is(flaw::sync_fails)) return -1;
    if (is(flaw::sync_takes)) this->stossc();
    const text pending(this->pbase(), this->pptr());
    if (!is(flaw::sync_keeps)) drain();
    if (is(flaw::sync_again)) output_ += pending;
    return 0;
  }

  nalo::streampos seekoff(nalo::streamoff off, ios_base::seekdir way,
                          ios_base::openmode mode) override {
    const bool in = (mode & ios_base::in) != 0;
    const bool tells = way == ios_base::cur && off == 0;
    if (is(flaw::position_unknown) || (is(flaw::tell_refused) && tells))
      return -1;
    if (!in) {
      if (is(flaw::tell_late) && tells) return out_at_;
      drain();
    }
    const auto size =
        in ? in_size() : static_cast<nalo::streamoff>(output_.size());
    auto to = off + (way == ios_base::beg   ? 0
                     : way == ios_base::end ? size
                     : in                   ? in_at()
                                            : out_at_);
    if (is(flaw::seek_end) && way == ios_base::end) --to;
    if (is(flaw::seek_cur) && way == ios_base::cur && !tells) to = off;
    if (is(flaw::seek_before)) to = std::max<nalo::streamoff>(to, 0);
    if (is(flaw::seek_behind)) to = std::min(to, size);
    if (to < 0 || to > size) {
      if (is(flaw::seek_moves) && in) place(0, 0);
      if (is(flaw::seekp_moves) && !in) out_at_ = 0;
      return -1;
    }
    if (in) {
      if (!tells) place(to, 0);
    } else if (!is(flaw::seekp_stays)) {
      out_at_ = to;
    }
    return to;
  }
  nalo::streampos seekpos(nalo::streampos pos,
                          ios_base::openmode mode) override {
    return is(flaw::seekpos_stays) ? pos : seekoff(pos, ios_base::beg, mode);
  }

  flaw has_;
  text input_;
  bool ended_ = false;
  text output_;
  nalo::streamoff out_at_ = 0;
  Char area_[4];
};

template <class Char>
nalo::testing::violations found_in(flaw has) {
  using buffer = flawed_buffer<Char>;
  const auto text = nalo::testing::sample_text<Char>(100);
  auto found = nalo::testing::check_input<Char>(
      [&] { return std::make_unique<buffer>(has, text); }, text);
  const auto more = nalo::testing::check_output<Char>(
      [&] { return std::make_unique<buffer>(has); },
      [](const buffer& b) { return b.output(); });
  found.insert(found.end(), more.begin(), more.end());
  return found;
}

std::string listed(const nalo::testing::violations& found) {
  std::string all;
  for (const auto& violation : found) all += violation + '\n';
  return all;
}

template <class Char>
class Conformance : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Conformance, Chars);

TYPED_TEST(Conformance, FindsEveryFlaw) {
  const struct {
    flaw has;
    const char* reported;  // one line begins with it
  } rows[] = {
#ifndef NALO_HARDENED  // which stops the buffer itself
      {flaw::get_area, "sgetc() at 0: expected the pointers of the get area"},
      {flaw::put_area, "overflow(eof) at 0: expected the pointers of the put"},
#endif
      {flaw::underflow_takes, "sgetc() at 0"},
      {flaw::underflow_raises, "sgetc() at 6: expected no exception, saw five"},
      {flaw::uflow_stays, "sbumpc() at 4"},
      {flaw::eof_ends, "sgetc() at 100: expected eof, saw 'x'"},
      {flaw::narrowed, "sgetc() at "},
      {flaw::xsgetn_short, "sgetn(4) at 0: expected 4, saw 3"},
      {flaw::xsgetn_more, "sgetn(1) at 0: expected no more than was asked for"},
      {flaw::xsgetn_negative, "sgetn(-1) at 0: expected 0, saw -1"},
      {flaw::pbackfail_lies, "sungetc() at 2"},
      {flaw::pbackfail_moves, "sgetc() at "},
      {flaw::pbackfail_other, "sbumpc() at 1: expected 'a'"},
      {flaw::showmanyc_more, "showmanyc() at 0: expected 0 to 100, saw 101"},
      {flaw::showmanyc_less, "showmanyc() at 0: expected 0 to 100, saw -1"},
      {flaw::sync_takes, "sgetc() at 0"},
      {flaw::tell_refused, "pubseekoff(0, beg) at 1: expected -1, saw 0"},
      {flaw::tell_refused, "pubseekoff(0, beg) at 7: expected -1, saw 0"},
      {flaw::seek_cur, "pubseekoff(-2, cur) at 2: expected 0, saw -1"},
      {flaw::seek_end, "pubseekoff(-100, end) at 2: expected 0, saw -1"},
      {flaw::seek_before, "pubseekoff(-1, beg) at 2: expected -1, saw 0"},
      {flaw::seek_behind, "pubseekoff(101, beg) at 2: expected -1, saw 100"},
      {flaw::seek_moves, "sgetc() at 2"},
      {flaw::seekpos_stays, "sgetc() at 0"},
      {flaw::overflow_drops, "pubsync() at 250: expected 'o' as character 0"},
      {flaw::overflow_refuses,
       "pubsync() at 200: expected none as character 200"},
      {flaw::overflow_eof, "pubsync() at 150: expected 'o' as character 0"},
      {flaw::xsputn_counts, "pubsync() at "},
      {flaw::xsputn_negative, "sputn(-1) at 0: expected 0, saw -1"},
      {flaw::xsputn_wild, "sputn(1) at 0: expected 0 to 1, saw -1"},
      {flaw::xsputn_wild, "sputn(7) at 0: expected 0 to 7, saw 8"},
      {flaw::sync_fails, "pubsync() at 0: expected 0, saw -1"},
      {flaw::sync_keeps,
       "pubsync() at 20: expected 'j' as character 16, saw none"},
      {flaw::sync_again, "pubsync() at "},
      {flaw::tell_late, "pubseekoff(0, cur) at 7: expected 7, saw 4"},
      {flaw::seekp_stays, "pubseekoff(0, cur) at 0: expected 0, saw 200"},
      {flaw::seekp_moves, "pubseekoff(0, cur) at 200: expected 200, saw 0"},
  };
  for (const flaw sound : {flaw::none, flaw::position_unknown}) {
    EXPECT_EQ(listed(found_in<TypeParam>(sound)), "");
  }
  for (const auto& row : rows) {
    const auto all = '\n' + listed(found_in<TypeParam>(row.has));
    EXPECT_NE(all.find(std::string("\n") + row.reported), all.npos)
        << row.reported << " is not among:" << all;
  }
}

TYPED_TEST(Conformance, ReportsWhatIsWrongOutsideOfTheOperations) {
  const TypeParam null[] = {0};
  const auto first = [&](auto make) {
    return nalo::testing::check_input<TypeParam>(make, {null, 1}).at(0);
  };
  using owner = std::unique_ptr<flawed_buffer<TypeParam>>;
  EXPECT_EQ(first([]() -> owner { throw std::runtime_error("made"); }),
            "outside of the buffer: expected no exception, saw made");
  EXPECT_EQ(first([] { return owner(new flawed_buffer<TypeParam>({})); }),
            "sgetc() at 0: expected 0x0, saw eof");
}

}  // namespace
