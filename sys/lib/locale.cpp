// Locales: the classic one, the global one, and those made from others.
#include "classic_facet.h"
#include "locale_set.h"

#include <nalo/string>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <utility>

namespace nalo {

namespace {

// The source file that errors raised here name.
constexpr const char* source_file = "sys/lib/locale.cpp";

// Deletes a facet owned by locales at the end of the scope, unless a locale has
// taken it.
class facet_reference : public non_copyable {
 public:
  explicit facet_reference(const locale::facet* facet) noexcept
      : facet_(facet) {
    impl::Locale::add_reference(facet_);
  }
  ~facet_reference() { impl::Locale::remove_reference(facet_); }

 private:
  const locale::facet* facet_;
};

}  // namespace

locale::facet::facet(const facet&) noexcept : refs_(0) {}
locale::facet::~facet() = default;

namespace impl {

// --- sets of facets ----------------------------------------------------------

Locale* Locale::copy(const Locale& from, bool more) {
  const size_t clients = from.clients_ + (more ? 1 : 0);
  void* block = ::operator new(sizeof(Locale) + clients * sizeof(client_facet));
  auto* set = new (block) Locale(1);
  std::copy_n(from.library_, std::size(from.library_), set->library_);
  for (const locale::facet* facet : set->library_) add_reference(facet);
  std::uninitialized_copy_n(from.clients(), from.clients_, set->clients());
  std::uninitialized_value_construct_n(set->clients() + from.clients_,
                                       clients - from.clients_);
  set->clients_ = clients;
  for (size_t i = 0; i < clients; ++i) add_reference(set->clients()[i].facet);
  return set;
}

void Locale::add_references(size_t count) noexcept {
  refs_.fetch_add(count, std::memory_order_relaxed);
}

void Locale::remove_references(size_t count) noexcept {
  if (refs_.fetch_sub(count, std::memory_order_acq_rel) != count) return;
  for (const locale::facet* facet : library_) remove_reference(facet);
  for (size_t i = 0; i < clients_; ++i) remove_reference(clients()[i].facet);
  ::operator delete(this);
}

locale::facet* Locale::find(const locale::id& which) const noexcept {
  const client_facet* end = clients() + clients_;
  const client_facet* found = std::find_if(
      clients(), end,
      [&](const client_facet& entry) { return entry.id == &which; });
  return found != end ? found->facet : nullptr;
}

void Locale::replace_entry(size_t index, locale::facet* new_entry) noexcept {
  add_reference(new_entry);
  remove_reference(std::exchange(library_[index - 1], new_entry));
}

void Locale::replace(const locale::id& which,
                     locale::facet* new_facet) noexcept {
  if (which.index_ != 0) {
    replace_entry(which.index_, new_facet ? new_facet : no_facet());
    return;
  }
  // The free entry that copy() added is last and has no id yet.
  client_facet* entry = std::find_if(
      clients(), clients() + clients_,
      [&](client_facet& other) { return !other.id || other.id == &which; });
  entry->id = &which;
  add_reference(new_facet);
  remove_reference(std::exchange(entry->facet, new_facet));
}

void Locale::replace(locale::category cats, const Locale& other) noexcept {
  for (size_t index = 1; index <= locale::id::s_max_; ++index) {
    const bool is_ctype = index <= library_index<ctype<wchar_t>>;
    if ((cats & (is_ctype ? locale::ctype : locale::numeric)) != 0) {
      replace_entry(index, other.entry(index));
    }
  }
}

bool Locale::is_counted(const locale::facet* used) noexcept {
  return used && used != no_facet() &&
         std::atomic_ref(used->refs_).load(std::memory_order_relaxed) !=
             locale::facet::client_owned_;
}

void Locale::add_reference(const locale::facet* used) noexcept {
  if (is_counted(used)) {
    std::atomic_ref(used->refs_).fetch_add(1, std::memory_order_relaxed);
  }
}

void Locale::remove_reference(const locale::facet* used) noexcept {
  if (is_counted(used) &&
      std::atomic_ref(used->refs_).fetch_sub(1, std::memory_order_acq_rel) ==
          1) {
    delete used;
  }
}

void add_reference(Locale* set) noexcept { set->add_references(1); }
void remove_reference(Locale* set) noexcept { set->remove_references(1); }

// --- the classic and the global set ------------------------------------------

constinit Locale classic_locale;

template <class Handle>
union Locale::immortal_handle {
  constexpr immortal_handle() noexcept : value_(&classic_locale) {}
  constexpr ~immortal_handle() {}

  char literal_;  // as in immortal
  Handle value_;
};

const locale& Locale::classic_handle() noexcept {
  static NALO_IMMORTAL immortal_handle<locale> handle;
  return handle.value_;
}

// The global set, managed without a lock, which a child of fork() might find
// locked forever. The word holds the address of the set and, in the high bits
// that no address uses, the number of references to the set that were added in
// advance. Taking the global locale uses up one of them; when few are left,
// more are added. One further reference belongs to the word itself.
constinit std::uintptr_t global_locale = 0;

namespace {

using word = std::uintptr_t;

constexpr word one_reference = word{1} << 48;
constexpr word max_prepaid = 0xFFFF;
constexpr word half_prepaid = max_prepaid / 2 + 1;

word prepaid(word global) { return global / one_reference; }
Locale* set_of(word global) {
  return reinterpret_cast<Locale*>(global % one_reference);
}

// For leak checkers, which look for plain addresses.
constinit std::atomic<Locale*> visible_global{nullptr};

// Adds references in advance. The caller has a reference, which keeps the set
// alive. Does nothing when another set has become the global one or another
// thread has added references.
void prepay(Locale* set) noexcept {
  set->add_references(half_prepaid);
  const std::atomic_ref global(global_locale);
  word value = global.load(std::memory_order_relaxed);
  // uncovered: false only when threads meet here.
  while (set_of(value) == set && prepaid(value) < half_prepaid) {
    // uncovered: false only when threads meet here.
    if (global.compare_exchange_weak(
            value, value + half_prepaid * one_reference,
            std::memory_order_release, std::memory_order_relaxed)) {
      return;
    }
  }
  // uncovered: only when threads meet here.
  set->remove_references(half_prepaid);
}  // uncovered: only when threads meet here.

// Makes a set the global one, taking over a reference to it, and returns a
// reference to the earlier one.
Locale* exchange_global(Locale* set) noexcept {
  word value = 0;
  if (set != &classic_locale) {
    set->add_references(max_prepaid);
    value = reinterpret_cast<word>(set) + max_prepaid * one_reference;
  }
  visible_global.store(set, std::memory_order_relaxed);
  const word old =
      std::atomic_ref(global_locale).exchange(value, std::memory_order_acq_rel);
  if (old == 0) return &classic_locale;
  set_of(old)->remove_references(prepaid(old));
  return set_of(old);
}

}  // namespace

Locale* share_global_locale() noexcept {
  const std::atomic_ref global(global_locale);
  word value = global.load(std::memory_order_relaxed);
  do {
    // uncovered: true only when threads meet here.
    if (value == 0) return &classic_locale;
    // uncovered: false unless thousands of threads meet here.
    if (prepaid(value) == 0) value = global.load(std::memory_order_relaxed);
    // uncovered: false only when threads meet here.
  } while (prepaid(value) == 0 ||
           !global.compare_exchange_weak(value, value - one_reference,
                                         std::memory_order_acquire,
                                         std::memory_order_relaxed));
  Locale* set = set_of(value);
  if (prepaid(value) <= half_prepaid) prepay(set);
  return set;
}

}  // namespace impl

// --- making locales ----------------------------------------------------------

namespace {

// Returns the locale with a name given by a client.
const locale& named(const char* name, locale::category cats) {
  if (!name) locale::throwOnNullName(source_file, __LINE__);
  if (std::strcmp(name, "C") != 0 && std::strcmp(name, "POSIX") != 0) {
    locale::throwOnCreationFailure(source_file, __LINE__, cats, name,
                                   "unknown name");
  }
  return locale::classic();
}

}  // namespace

locale::locale(const char* name) : locale(named(name, all)) {}

locale::locale(const locale& base, const char* name, category cats)
    : locale(base, named(name, cats), cats) {}

locale::locale(const locale& base, const locale& other, category cats)
    : locale(base) {
  if ((cats & ~all) != 0) {
    throwOnCreationFailure(source_file, __LINE__, cats, other.name_(),
                           "unknown category");
  }
  if (cats == none || base == other) return;
  adopt_(copyNameLessLocale_(impl_));
  impl_->replace(cats, *other.impl_);
}

impl::Locale* locale::copyNameLessLocale_(impl::Locale* from) {
  return impl::Locale::copy(*from, false);
}

void locale::insertFaset_(facet* new_facet, id& which) {
  const facet_reference until_inserted(new_facet);
  const bool more = which.index_ == 0 && !impl_->find(which);
  adopt_(impl::Locale::copy(*impl_, more));
  impl_->replace(which, new_facet);
}

void locale::remove_facet_(const id& which) {
  const bool is_there = which.index_ != 0 || impl_->find(which);
  adopt_(copyNameLessLocale_(impl_));
  if (is_there) impl_->replace(which, nullptr);
}

locale locale::global(const locale& loc) noexcept {
  return locale(impl::exchange_global(impl::share(loc.impl_)));
}

const locale& locale::classic() noexcept {
  return impl::Locale::classic_handle();
}

// --- names and errors --------------------------------------------------------

void locale::get_name(basic_string<char>& name) const { name = this->name(); }

// The names are never destroyed, like the classic locale.
const basic_string<char>& locale::name() const {
  static const auto& classic_name = *new basic_string<char>("C");
  static const auto& no_name = *new basic_string<char>("*");
  return is_classic_() ? classic_name : no_name;
}

namespace {

// Raises an error with a message formatted as by printf(), without allocating
// for it. A long name may be cut.
template <class Error, class... Args>
[[noreturn]] void raise(const char* file, int line, const char* format,
                        Args... args) {
  char text[256];
  std::snprintf(text, sizeof text, format, args...);
  tThrow(Error(file, line, text));
}

}  // namespace

void locale::throwOnCombineError(const char* file, int line,
                                 const locale& other) {
  raise<locale_error>(file, line,
                      "nalo::locale::combine \"%s\" lacks the facet",
                      other.name_());
}

void locale::throwOnNullName(const char* file, int line) {
  tThrow(locale_error(file, line, "nalo::locale the name is null"));
}

void locale::throwOnCreationFailure(const char* file, int line, int cats,
                                    const char* name, const char* reason) {
  raise<locale_error>(file, line, "nalo::locale \"%.100s\", categories %d: %s",
                      name ? name : "", cats, reason ? reason : "");
}

void locale::throwMissingFacet_() const {
  raise<missing_facet_error>(source_file, __LINE__,
                             "nalo::use_facet \"%s\" lacks the facet", name_());
}

locale_error::~locale_error() = default;
void locale_error::throw_self() { throw locale_error(*this); }

missing_facet_error::~missing_facet_error() = default;
void missing_facet_error::throw_self() { throw missing_facet_error(*this); }

}  // namespace nalo
