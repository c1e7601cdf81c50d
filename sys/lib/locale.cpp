// Locales: the classic one, the global one, and those made from others.
#include <nalo/base/ctype>
#include <nalo/base/num_get>
#include <nalo/base/num_put>
#include <nalo/base/numpunct>
#include <nalo/locale>
#include <nalo/memory>
#include <nalo/streambuf>
#include <nalo/string>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <mutex>
#include <new>

namespace nalo {

namespace {

// The source that the errors raised here name.
constexpr const char* kFile = "sys/lib/locale.cpp";

using num_put_char = num_put<char, ostreambuf_iterator<char>>;
using num_put_wchar = num_put<wchar_t, ostreambuf_iterator<wchar_t>>;
using num_get_char = num_get<char, istreambuf_iterator<char>>;
using num_get_wchar = num_get<wchar_t, istreambuf_iterator<wchar_t>>;

// The facet classes of the library in the order of impl::known_index. Index 0
// stands for an id that has none yet.
struct library_facet {
  const locale::id* id;
  locale::category category;
};

constexpr library_facet library_facets[] = {
    {nullptr, locale::none},
    {&ctype<char>::id, locale::ctype},
    {&ctype<wchar_t>::id, locale::ctype},
    {&num_put_char::id, locale::numeric},
    {&num_put_wchar::id, locale::numeric},
    {&num_get_char::id, locale::numeric},
    {&num_get_wchar::id, locale::numeric},
    {&numpunct<char>::id, locale::numeric},
    {&numpunct<wchar_t>::id, locale::numeric},
};

constinit std::mutex global_mutex;

// Deletes a facet that the locales own unless one takes it meanwhile.
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

// --- ids and facets ----------------------------------------------------------

size_t locale::id::assign_index() const noexcept {
  static_assert(std::size(library_facets) == s_max_ + 1);
  static constinit std::atomic<size_t> next_client_index{s_max_ + 1};
  const auto* known = std::find_if(
      std::begin(library_facets), std::end(library_facets),
      [this](const library_facet& facet) { return facet.id == this; });
  // Of several threads that come here with a client's id at once one assigns
  // its index, and the others' indexes stay unused.
  const size_t proposed =
      known != std::end(library_facets)
          ? static_cast<size_t>(known - std::begin(library_facets))
          : next_client_index.fetch_add(1, std::memory_order_relaxed);
  size_t assigned = 0;
  // uncovered: false only when threads meet here.
  return std::atomic_ref<size_t>(index_).compare_exchange_strong(
             assigned, proposed, std::memory_order_relaxed)
             ? proposed
             : assigned;
}

locale::facet::facet(const facet&) noexcept : refs_(0) {}
locale::facet::~facet() = default;

namespace impl {

const locale::id& getFacetId(const num_put_char*) noexcept {
  return num_put_char::id;
}
const locale::id& getFacetId(const num_put_wchar*) noexcept {
  return num_put_wchar::id;
}
const locale::id& getFacetId(const num_get_char*) noexcept {
  return num_get_char::id;
}
const locale::id& getFacetId(const num_get_wchar*) noexcept {
  return num_get_wchar::id;
}

// --- sets of facets ----------------------------------------------------------

namespace {

// Gives a facet a destructor that can be called, for use as a member.
template <class Facet>
struct member_facet : Facet {
  using Facet::Facet;
};

// Keeps its value from being destroyed.
template <class T>
union immortal {
  constexpr immortal() noexcept : value_() {}
  // uncovered: as its name says.
  ~immortal() {}

  T value_;
};

constinit allocator heap;

}  // namespace

struct Locale::classic_parts {
  static constexpr size_t refs = 1;  // owned by no locale

  member_facet<ctype<char>> ctype_char_{nullptr, false, refs};
  member_facet<ctype<wchar_t>> ctype_wchar_{refs};
  member_facet<num_put_char> num_put_char_{refs, heap};
  member_facet<num_put_wchar> num_put_wchar_{refs, heap};
  member_facet<num_get_char> num_get_char_{refs};
  member_facet<num_get_wchar> num_get_wchar_{refs};
  member_facet<numpunct<char>> numpunct_char_{refs};
  member_facet<numpunct<wchar_t>> numpunct_wchar_{refs};
  locale handle_{&classic_};

  static immortal<classic_parts> the_;
  // In the order of library_facets.
  static locale::facet* facets_[std::size(library_facets)];
};

constinit immortal<Locale::classic_parts> Locale::classic_parts::the_;
constinit locale::facet* Locale::classic_parts::facets_[] = {
    nullptr,
    &the_.value_.ctype_char_,
    &the_.value_.ctype_wchar_,
    &the_.value_.num_put_char_,
    &the_.value_.num_put_wchar_,
    &the_.value_.num_get_char_,
    &the_.value_.num_get_wchar_,
    &the_.value_.numpunct_char_,
    &the_.value_.numpunct_wchar_,
};

constinit Locale Locale::classic_(classic_parts::facets_,
                                  std::size(classic_parts::facets_));
constinit std::atomic<Locale*> Locale::global_(&Locale::classic_);

const locale& Locale::classic_handle() noexcept {
  return classic_parts::the_.value_.handle_;
}

Locale* Locale::share_global() noexcept {
  const std::scoped_lock lock(global_mutex);
  return share(global_.load(std::memory_order_relaxed));
}

Locale* Locale::exchange_global(Locale* set) noexcept {
  const std::scoped_lock lock(global_mutex);
  return global_.exchange(set, std::memory_order_relaxed);
}

// The facets stand behind the set in one block of memory.
Locale* Locale::copy(const Locale& from, size_t index) {
  const size_t size = std::max(from.size_, index + 1);
  void* block = ::operator new(sizeof(Locale) + size * sizeof(locale::facet*));
  auto** facets = reinterpret_cast<locale::facet**>(
      static_cast<std::byte*>(block) + sizeof(Locale));
  std::fill(std::copy_n(from.facets_, from.size_, facets), facets + size,
            nullptr);
  std::for_each_n(facets, size,
                  [](const locale::facet* facet) { add_reference(facet); });
  return new (block) Locale(facets, size);
}

void Locale::replace(size_t index, locale::facet* new_facet) noexcept {
  add_reference(new_facet);
  remove_reference(std::exchange(facets_[index], new_facet));
}

void Locale::replace(locale::category cats, const Locale& other) noexcept {
  for (size_t index = 1; index < std::size(library_facets); ++index) {
    if ((library_facets[index].category & cats) != 0) {
      replace(index, other.find(index));
    }
  }
}

void Locale::add_reference() noexcept {
  refs_.fetch_add(1, std::memory_order_relaxed);
}

void Locale::remove_reference() noexcept {
  if (refs_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  std::for_each_n(facets_, size_,
                  [](const locale::facet* facet) { remove_reference(facet); });
  ::operator delete(this);
}

void Locale::add_reference(const locale::facet* used) noexcept {
  if (is_counted(used)) used->refs_.fetch_add(1, std::memory_order_relaxed);
}

void Locale::remove_reference(const locale::facet* used) noexcept {
  if (is_counted(used) &&
      used->refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete used;
  }
}

}  // namespace impl

// --- making locales ----------------------------------------------------------

namespace {

// The locale of a name that may come from a client.
const locale& named(const char* name, locale::category cats) {
  if (!name) locale::throwOnNullName(kFile, __LINE__);
  if (std::strcmp(name, "C") != 0 && std::strcmp(name, "POSIX") != 0) {
    locale::throwOnCreationFailure(kFile, __LINE__, cats, name, "unknown name");
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
    throwOnCreationFailure(kFile, __LINE__, cats, other.name_(),
                           "unknown category");
  }
  if (cats == none || base == other) return;
  adopt_(copyNameLessLocale_(impl_));
  impl_->replace(cats, *other.impl_);
}

impl::Locale* locale::copyNameLessLocale_(impl::Locale* from) {
  return impl::Locale::copy(*from);
}

void locale::insertFaset_(facet* new_facet, id& which) {
  const facet_reference until_inserted(new_facet);
  const size_t index = which.index();
  adopt_(impl::Locale::copy(*impl_, index));
  impl_->replace(index, new_facet);
}

void locale::remove_facet_(const id& which) {
  const size_t index = which.index();
  adopt_(impl::Locale::copy(*impl_, index));
  impl_->replace(index, nullptr);
}

locale locale::global(const locale& loc) noexcept {
  return locale(impl::Locale::exchange_global(impl::Locale::share(loc.impl_)));
}

const locale& locale::classic() noexcept {
  return impl::Locale::classic_handle();
}

// --- names and errors --------------------------------------------------------

void locale::get_name(basic_string<char>& name) const { name = this->name(); }

// The texts are never destroyed, as the classic locale is not.
const basic_string<char>& locale::name() const {
  static const auto& classic_name = *new basic_string<char>("C");
  static const auto& no_name = *new basic_string<char>("*");
  return is_classic_() ? classic_name : no_name;
}

namespace {

// Raises an error with a text made as by printf(), in no memory but its own. A
// long name of a client may be cut.
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
  raise<missing_facet_error>(kFile, __LINE__,
                             "nalo::use_facet \"%s\" lacks the facet", name_());
}

locale_error::~locale_error() = default;
void locale_error::throw_self() { throw locale_error(*this); }

missing_facet_error::~missing_facet_error() = default;
void missing_facet_error::throw_self() { throw missing_facet_error(*this); }

}  // namespace nalo
