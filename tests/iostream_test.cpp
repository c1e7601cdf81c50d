// Streams that read and write through one buffer, and buffers that share what
// is behind them.
#include <nalo/istream>

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <utility>

#include "text.h"

namespace {

using nalo::ios_base;
using nalo_test::shown;
using nalo_test::widened;

// Reads what was written to it, as far as its array reaches.
template <class Char>
class array_streambuf : public nalo::basic_streambuf<Char> {
  using traits = nalo::char_traits<Char>;

 public:
  array_streambuf() {
    this->setg(array_, array_, array_);
    this->setp(array_, std::end(array_));
  }

 protected:
  typename traits::int_type underflow() override {
    this->setg(array_, this->gptr(), this->pptr());
    if (this->gptr() == this->egptr()) return traits::eof();
    return traits::to_int_type(*this->gptr());
  }

 private:
  Char array_[32] = {};
};

template <class Char>
class Iostream : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Iostream, Chars);

TYPED_TEST(Iostream, ReadsBackWhatItWrote) {
  array_streambuf<TypeParam> buf;
  nalo::basic_iostream<TypeParam> both(&buf);
  nalo::basic_string<TypeParam> line;
  for (int i = 0; i < 3; ++i) {
    both << "line " << i << '\n';
    getline(both, line);
    EXPECT_EQ(shown<TypeParam>(line), "line " + std::to_string(i));
  }
  getline(both, line);
  EXPECT_EQ(both.rdstate(), ios_base::eofbit | ios_base::failbit);
  both << 5;
  both.clear();
  EXPECT_FALSE(both >> line);
}

// Two buffers over one thing: the output that has no room takes the get area of
// the input away, which then hands out single characters.
template <class Char>
struct source_streambuf : nalo::basic_streambuf<Char> {
  using traits = nalo::char_traits<Char>;

  explicit source_streambuf(std::basic_string<Char> text)
      : text_(std::move(text)) {
    this->setg(text_.data(), text_.data(), text_.data() + text_.size());
  }
  void leave_area() {
    taken_ += static_cast<size_t>(this->gptr() - this->eback());
    this->setg(nullptr, nullptr, nullptr);
  }
  typename traits::int_type underflow() override {
    return taken_ < text_.size() ? traits::to_int_type(text_[taken_])
                                 : traits::eof();
  }
  typename traits::int_type uflow() override {
    const auto ch = underflow();
    if (taken_ < text_.size()) ++taken_;
    return ch;
  }

  std::basic_string<Char> text_;
  size_t taken_ = 0;
};

template <class Char>
struct target_streambuf : nalo::basic_streambuf<Char> {
  using int_type = typename nalo::char_traits<Char>::int_type;

  explicit target_streambuf(source_streambuf<Char>& source) : source_(source) {}
  int_type overflow(int_type ch) override {
    source_.leave_area();
    text_ += static_cast<Char>(ch);
    return ch;
  }

  source_streambuf<Char>& source_;
  std::basic_string<Char> text_;
};

TYPED_TEST(Iostream, CopiesToABufferThatMovesTheSource) {
  source_streambuf<TypeParam> source(widened<TypeParam>("abcdef"));
  target_streambuf<TypeParam> target(source);
  EXPECT_EQ(nalo::copy_streambufs<TypeParam>(&source, &target), 6);
  EXPECT_EQ(shown<TypeParam>(target.text_), "abcdef");
}

TYPED_TEST(Iostream, CopiesOverItselfInOrder) {
  struct shifting : nalo::basic_streambuf<TypeParam> {
    shifting() {
      this->setg(text_.data(), text_.data(), text_.data() + text_.size());
      this->setp(text_.data() + 2, text_.data() + text_.size());
    }
    std::basic_string<TypeParam> text_ = widened<TypeParam>("abcdefg");
  } buf;
  EXPECT_EQ(nalo::copy_streambufs<TypeParam>(&buf, &buf), 5);
  EXPECT_EQ(shown<TypeParam>(buf.text_), "abababa");
}

}  // namespace
