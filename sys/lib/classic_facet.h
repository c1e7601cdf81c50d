// What keeps the facets of the classic locale from being destroyed.
#ifndef NALO_LIB_CLASSIC_FACET_H
#define NALO_LIB_CLASSIC_FACET_H

#include <nalo/locale>
#include <nalo/memory>

#include <utility>

namespace nalo::impl {

// Gives a facet a destructor that can be called, for use as a member.
template <class Facet>
struct member_facet : Facet {
  using Facet::Facet;
};

template <class Facet>
union immortal {
  template <class... Args>
  constexpr explicit immortal(Args&&... args) noexcept
      : facet_(std::forward<Args>(args)...) {}
  // uncovered: runs when the program ends.
  ~immortal() {}

  member_facet<Facet> facet_;
};

// Owned by no locale.
inline constexpr size_t not_counted = 1;

}  // namespace nalo::impl

#endif
