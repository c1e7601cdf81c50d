// A numpunct facet, of this library or of the compiler's, with answers of
// choice.
#ifndef NALO_TESTS_STYLED_NUMPUNCT_H
#define NALO_TESTS_STYLED_NUMPUNCT_H

#include <string>
#include <utility>

#include "text.h"

namespace nalo_test {

struct style {
  std::string grouping;
  char separator = ',';
  char point = '.';
  std::string yes = "true";
  std::string no = "false";
};

template <class Numpunct>
struct styled : Numpunct {
  using Char = typename Numpunct::char_type;
  using text = typename Numpunct::string_type;
  using sizes = decltype(std::declval<const Numpunct&>().grouping());

  explicit styled(style s) : style_(std::move(s)) {}
  Char do_decimal_point() const override { return Char(style_.point); }
  Char do_thousands_sep() const override { return Char(style_.separator); }
  sizes do_grouping() const override {
    return sizes(style_.grouping.data(), style_.grouping.size());
  }
  text do_truename() const override { return name(style_.yes); }
  text do_falsename() const override { return name(style_.no); }

 private:
  static text name(const std::string& narrow) {
    return widened<Char>(narrow).c_str();
  }

  style style_;
};

}  // namespace nalo_test

#endif
