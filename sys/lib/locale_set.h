// Sets of facets, which locales share.
#ifndef NALO_LIB_LOCALE_SET_H
#define NALO_LIB_LOCALE_SET_H

#include <nalo/locale>

#include <atomic>

namespace nalo::impl {

// A set is immutable once locales share it. Clients' facets follow it in the
// same block of memory.
class Locale {
 public:
  // The classic set.
  consteval Locale() noexcept : refs_(never_released_) {}
  // Sets are made only by copy().
  Locale(const Locale&) = delete;
  Locale& operator=(const Locale&) = delete;

  // A handle to the classic set that is never destroyed.
  static const locale& classic_handle() noexcept;

  // Returns a set with one reference and the facets of from; if more is true,
  // with room for one more client's facet. Raises std::bad_alloc.
  static Locale* copy(const Locale& from, bool more);
  void add_references(size_t count) noexcept;
  void remove_references(size_t count) noexcept;

  // The entry of a facet class of the library; see impl::no_facet().
  locale::facet* entry(size_t index) const noexcept {
    return library_[index - 1];
  }
  // The facet of a client's class, or null.
  locale::facet* find(const locale::id& which) const noexcept;

  // Adds or replaces a facet; null removes it.
  void replace(const locale::id& which, locale::facet* new_facet) noexcept;
  // Replaces the library's facets of some categories by those of other.
  void replace(locale::category cats, const Locale& other) noexcept;

  // Adds a reference of a set to a facet, which may be null.
  static void add_reference(const locale::facet* used) noexcept;
  // Removes a reference, and deletes the facet if locales own it and no set has
  // it any more.
  static void remove_reference(const locale::facet* used) noexcept;

 private:
  template <class Handle>
  union immortal_handle;

  struct client_facet {
    const locale::id* id;
    locale::facet* facet;
  };

  // Half the range, because two copies of the library in one process, as in a
  // program and a plugin, treat each other's classic set as a counted one.
  static constexpr size_t never_released_ = ~size_t{0} / 2;

  explicit Locale(size_t refs) noexcept : refs_(refs) {}

  static bool is_counted(const locale::facet* used) noexcept;
  void replace_entry(size_t index, locale::facet* new_entry) noexcept;
  client_facet* clients() noexcept {
    return reinterpret_cast<client_facet*>(this + 1);
  }
  const client_facet* clients() const noexcept {
    return reinterpret_cast<const client_facet*>(this + 1);
  }

  locale::facet* library_[locale::id::s_max_] = {};  // read by inline code
  std::atomic<size_t> refs_;
  size_t clients_ = 0;
};

}  // namespace nalo::impl

#endif
