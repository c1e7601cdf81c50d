// The table of powers of ten for converting doubles to text.
#include <nalo/base/impl/decimal>

#include <algorithm>
#include <iterator>

namespace nalo::impl {

namespace {

// Large enough for 5^325, and for 2^895, which is divided by 5^308.
class large_integer {
 public:
  consteval explicit large_integer(std::uint64_t highest_limb,
                                   std::uint64_t lowest_limb) {
    limbs_[0] = lowest_limb;
    limbs_[size - 1] = highest_limb;
  }

  consteval void multiply_by_5() {
    uint128 carry = 0;
    for (std::uint64_t& limb : limbs_) {
      carry += uint128{5} * limb;
      limb = static_cast<std::uint64_t>(carry);
      carry >>= 64;
    }
  }
  // Rounds down.
  consteval void divide_by_5() {
    uint128 rest = 0;
    for (int i = size - 1; i >= 0; --i) {
      rest = rest << 64 | limbs_[i];
      limbs_[i] = static_cast<std::uint64_t>(rest / 5);
      rest %= 5;
    }
  }
  // The upper 128 bits, starting with the highest that is 1.
  consteval power_of_ten upper_bits() const {
    int top = size - 1;
    while (limbs_[top] == 0) --top;
    const auto limb = [&](int i) { return i >= 0 ? limbs_[i] : 0; };
    const int shift = std::countl_zero(limbs_[top]);
    if (shift == 0) return {limb(top), limb(top - 1)};
    return {limb(top) << shift | limb(top - 1) >> (64 - shift),
            limb(top - 1) << shift | limb(top - 2) >> (64 - shift)};
  }

 private:
  static constexpr int size = 14;
  std::uint64_t limbs_[size] = {};
};

// Powers of 5 are enough, because factors of 2 do not change the upper bits.
consteval auto make_powers_of_ten() {
  std::remove_const_t<decltype(powers_of_ten)> powers = {};
  const auto at = [&](int p) -> power_of_ten& {
    return powers[static_cast<size_t>(p - min_power_of_ten)];
  };
  large_integer number(0, 1);
  for (int p = 0; p <= max_power_of_ten; ++p) {
    at(p) = number.upper_bits();
    number.multiply_by_5();
  }
  number = large_integer(std::uint64_t{1} << 63, 0);
  for (int p = -1; p >= min_power_of_ten; --p) {
    number.divide_by_5();
    at(p) = number.upper_bits();
  }
  return powers;
}

}  // namespace

constexpr decltype(powers_of_ten) powers_of_ten = make_powers_of_ten();

}  // namespace nalo::impl
