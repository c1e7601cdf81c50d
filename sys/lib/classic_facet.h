// Storage for the facets of the classic locale, which are never destroyed.
#ifndef NALO_LIB_CLASSIC_FACET_H
#define NALO_LIB_CLASSIC_FACET_H

#include <nalo/locale>
#include <nalo/memory>

#include <utility>

namespace nalo::impl {

// Gives a facet an accessible destructor, so that it can be a member.
template <class Facet>
struct member_facet : Facet {
  using Facet::Facet;
};

// Holds a facet that is not destroyed when the program ends.
template <class Facet>
union immortal {
  template <class... Args>
  constexpr explicit immortal(Args&&... args) noexcept
      : facet_(std::forward<Args>(args)...) {}
  constexpr ~immortal() {}

  char literal_;  // without it the type of a constexpr variable could not be so
  member_facet<Facet> facet_;
};

// Defines a constant that is made before anything runs and never destroyed. GCC
// registers the empty destructor of what is merely constinit for the end of the
// program; Clang does not, and its version 14 takes no union that holds a
// facet for the type of a constexpr variable.
#ifdef __clang__
#define NALO_IMMORTAL constinit const
#else
#define NALO_IMMORTAL constexpr
#endif

// The facet is not owned by locales.
inline constexpr size_t not_counted = 1;

}  // namespace nalo::impl

#endif
