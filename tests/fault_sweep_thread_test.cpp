// Runs each operation of streams and locales, and each kind of string
// operation, once for every place where it allocates memory or calls a client's
// function and every way in which that place can fail, and with the thread
// cancelled there. Checks the rules that hold whatever fails; the model of
// streams defines exactly what follows from the failure of a buffer.
#include <nalo/buffers/map>
#include <nalo/buffers/utf8>
#include <nalo/fstream>
#include <nalo/syncstream>

#include "blocks_in_use.h"
#include "common.h"

namespace {

using namespace nalo_test;

constexpr std::string_view heap = "heap";
// What a fault of each kind raises.
constexpr const char* raised_as[] = {"",    "library",   "standard",
                                     "int", "no memory", "cancelled"};

// A character that a client's iterator refers to; reading it may fail.
template <class Char>
struct fault_char {
  operator Char() const {
    pass({"iterator", false});
    return ch;
  }
  Char ch = 'c';
};

// Only wide characters are classified by virtual calls.
struct fault_ctype : nalo::ctype<wchar_t> {
  bool do_is(mask classes, wchar_t ch) const override {
    pass({"is", false});
    return ctype::do_is(classes, ch);
  }
};

// Groups digits by three; its texts are too long to be stored in place.
template <class Char>
struct fault_numpunct : nalo::numpunct<Char> {
  using string = nalo::basic_string<Char>;
#define NALO_VIRTUAL(type, name, value) \
  type do_##name() const override {     \
    pass({#name, false});               \
    return value;                       \
  }
  NALO_VIRTUAL(Char, decimal_point, '.')
  NALO_VIRTUAL(Char, thousands_sep, ',')
  NALO_VIRTUAL(nalo::string, grouping, nalo::string(45, '\3'))
  NALO_VIRTUAL(string, truename, string(45, 'y'))
  NALO_VIRTUAL(string, falsename, string(45, 'n'))
#undef NALO_VIRTUAL
};

// Which calls of an operation are in the guarded region: none (plain), all, or
// those after white space was skipped. A plain operation that fails changes
// nothing. A `making` operation creates a stream and raises its failure. An
// `open` operation also works on a bad stream.
enum region { plain, making, open, guarded, skipping };

template <class World>
struct operations {
  std::vector<std::pair<const char*, void (*)(World&)>> calls;
  region where = plain;
  const char* input = ".  a_line_that_is_longer_than_it_is_in_place,_by_far\n";
};

template <class Char>
struct world : scripted_world<Char> {
  using base = scripted_world<Char>;
  using base::buf, base::other, base::io, base::str;
  using typename base::string, typename base::text;

  // One character of the input is already taken.
  world(const char* input, size_t area, iostate mask)
      : base({.input = widened<Char>(input),
              .get_areas = {area},
              .put_areas = {area, 40},
              .seekable = true},
             {.input = letters, .accepts = 4}) {
    str = letters;
    wordy.iword(11) = 5;
    io.exceptions(mask);
    io.imbue(full);
    io.width(50);
    if (area == 0) io.setf(ios_base::unitbuf);
    if (area == 3) shares = str;
    if (area == 64) str.reserve(200);
    buf.sbumpc();
  }

  void expect_order() const {
    EXPECT_TRUE(buf.areas_in_order() && other.areas_in_order());
    EXPECT_LE(str.size(), str.capacity());
    EXPECT_EQ(str.c_str()[str.size()], 0);
    EXPECT_TRUE(shares.empty() || shares == letters);
  }

  // Checks the effects of a fault.
  void expect_rules(region where, bool inside, fault kind,
                    std::string_view site, const std::string& raised) const {
    const iostate mask = io.exceptions();
    const char* const meets = where == making || (io.rdstate() & mask) != good
                                  ? "basic_ios::clear"
                                  : "";
    if (kind == fault::refusal && site != heap) {
      // Errors raised for bits set inside the region may be swallowed.
      EXPECT_TRUE(raised == meets || (raised.empty() && io.bad()));
      return;
    }
    const bool sets_bad = inside && kind != fault::other,
               swallowed =
                   sets_bad && kind != fault::cancel && (mask & bad) == good;
    EXPECT_TRUE(sets_bad ? io.bad() : io.good());
    EXPECT_EQ(raised, swallowed ? meets : raised_as[static_cast<int>(kind)]);
    EXPECT_LE(n, 0) << "a value was stored";
    if (!inside) {
      EXPECT_TRUE(str == letters && loc == full);
    } else if (kind == fault::refusal) {
      // Nothing is written, taken or reset before its memory is allocated.
      const text taken = buf.play_.input.substr(0, buf.position());
      EXPECT_TRUE(str == letters || taken.ends_with(str.c_str()));
      EXPECT_TRUE(buf.output().empty() && io.width() == 50);
    }
  }

  static inline const text letters = text(35, Char('a')) + text(35, Char('b'));
  using locale = nalo::locale;
  const locale classic,
      full = {locale(classic, new fault_ctype), new fault_numpunct<Char>},
      bare = classic.without_<nalo::numpunct<Char>>();
  locale loc = full;
  nalo::basic_iostream<Char> wordy{&buf};
  scripted_streambuf<char> bytes{{std::string(60, 'a'), {1}, {2}}};
  nalo::basic_istream<Char>& in = io;
  nalo::basic_ostream<Char>& out = io;
  Char array[60] = {}, ch = {};
  long n = -1;
  const fault_char<Char> first[70] = {}, *const last = std::end(first);
  string shares;
};

#define OP(...)                                                     \
  {                                                                 \
    "" #__VA_ARGS__, []([[maybe_unused]] World& w) { __VA_ARGS__; } \
  }

template <class Char, class... Numbers>
auto all_operations() {
  using World = world<Char>;
  using string = nalo::basic_string<Char>;
  using funcarg = nalo::basic_string_funcarg<Char>;
  using punct = nalo::numpunct<Char>;
  using stringstream = nalo::basic_stringstream<Char>;
  using fstream = nalo::basic_fstream<Char>;
  using osyncstream = nalo::basic_osyncstream<Char>;
  using errors = nalo::encoding_errors;
  using nalo::locale, nalo::boolalpha;
  constexpr auto both = ios_base::in | ios_base::out;
  constexpr auto all = bad | eof | fail;
  return std::vector<operations<World>>{
      {{OP(w.in.ignore()), OP(w.in.ignore(3)), OP(w.in.ignore(9, '\n')),
        OP(w.in.getline(w.array, 60, '\n')), OP(w.in.get(w.array, 9, 'e')),
        OP(w.in.get(w.other, 'i')), OP(w.in >> &w.other),
        OP(getline(w.in, w.str)), OP(getline(w.in, w.str, {'f'}, 60)),
        OP(getline(w.in, w.standard)), OP(getline(w.in, w.with_traits)),
        OP(w.in >> nalo::ws)},
       guarded},
      {{OP(w.in.get()), OP(w.in.get(w.ch)), OP(w.in.peek()),
        OP(w.in.read(w.array, 5)), OP(w.in.readsome(w.array, 5)),
        OP(w.in.putback('.')), OP(w.in.unget()), OP(w.in.sync()),
        OP(w.n = w.in.tellg()), OP(w.in.seekg(2)),
        OP(w.in.seekg(-1, ios_base::end))},
       guarded},
      {{OP(w.in >> w.ch), OP(w.in >> w.array), OP(w.in >> w.str),
        OP(w.in >> w.standard), OP(w.in >> w.with_traits),
        OP(getstring(w.in, w.array)), OP(getstring(w.in, w.str))},
       skipping},
      {{OP(bool b{}; w.in >> boolalpha >> b)},
       skipping,
       ".  nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn "},
      {{OP(Numbers value{}; w.in >> value; w.n = value != Numbers{})...,
        OP(void* value{}; w.in >> value)},
       skipping,
       ".  1,234 "},
      {{OP(w.out << Numbers(1234))..., OP(w.out << true), OP(w.out << nullptr),
        OP(w.out << boolalpha << true), OP(w.out << static_cast<void*>(&w)),
        OP(w.out << nalo::fixed << nalo::setprecision(900) << 1e300),
        OP(w.n = w.out.tellp()), OP(w.out.seekp(0)),
        OP(w.out.seekp(0, ios_base::end))},
       guarded},
      {{OP(w.out << nalo::left << w.array[0]), OP(w.out << 'n'),
        OP(w.out << w.letters.c_str()), OP(w.out << "narrow"),
        OP(w.out << std::basic_string_view(w.array, 9)), OP(w.out << w.str),
        OP(w.out.insert(w.array, 5)), OP(w.out << &w.other), OP(w.out.put('x')),
        OP(w.out.write(w.array, 9)), OP(w.out << nalo::ends),
        OP(const bool closed = !w.out.good(); w.out << nalo::quoted(w.letters);
           EXPECT_TRUE(closed || (w.out.rdstate() & fail) == good))},
       guarded},
      {{OP(w.out << nalo::flush), OP(w.out << nalo::endl),
        OP(w.n = w.in.in_avail()), OP(w.io.iword(20) = 1),
        OP(w.io.pword(20) = &w)},
       open},
      {{OP(w.str += w.letters), OP(w.str.append(w.first, w.last)),
        OP(w.str.assign(w.first, w.last)),
        OP(w.str.insert(w.str.cbegin(), w.first, w.last)),
        OP(w.str.replace(w.str.cbegin(), w.str.cend(), w.first, w.last)),
        OP(string(w.first, w.last)), OP(w.str.shrink_to_fit()),
        OP(string(w.str + w.letters)),
        OP(funcarg lent(w.letters);
           w.str = std::move(static_cast<string&>(lent))),
        OP(funcarg lent(w.letters); w.str.swap(lent))}},
      // Streams that own their buffer, each made for the operation.
      {{OP(stringstream(w.letters, both, bad) << w.letters.c_str()),
        OP(stringstream text; text.str(w.letters)),
        OP(stringstream(w.str, both).str()),
        OP(fstream("/dev/zero", both, bad).get()),
        OP(fstream("/dev/null", both, bad).put('x')),
        OP(fstream("/none", both, fail)), OP(nalo::mapbuf("/none")),
        OP(nalo::mapbuf map("/proc/self/exe");
           map.pubseekoff(-2, ios_base::end);
           nalo::ostream(&w.bytes, all) << &map),
        OP(nalo::mapbuf map("/proc/self/exe"), to(std::move(map));
           swap(map, to); to = std::move(map); map = nalo::mapbuf("/none");),
        OP(osyncstream(&w.buf, all) << w.letters.c_str() << nalo::flush_emit),
        OP(osyncstream to(&w.buf, all); to << w.str << nalo::flush; to.emit()),
        OP(nalo::utf8buf text(&w.bytes); nalo::wistream(&text, all).ignore(2)),
        OP(nalo::utf8buf text(&w.bytes);
           nalo::wostream(&text, all) << L"\u20AC\u20AC" << nalo::flush),
        OP(nalo::owning_utf8buf<nalo::stringbuf> text(errors::raise);
           nalo::wostream(&text, all) << nalo::setw(60) << L"\u20AC")},
       making},
      {{OP(w.io.copyfmt(w.wordy)), OP(w.io.imbue(w.full)),
        OP(w.loc = locale(w.loc, new fault_numpunct<char>)),
        OP(w.loc = locale(w.loc, w.classic, locale::numeric)),
        OP(w.loc = locale(w.loc, "C", locale::ctype)),
        OP(w.loc = w.classic.template combine<punct>(w.loc)),
        OP(w.loc = w.loc.template without_<punct>())}}};
}
#undef OP

std::set<std::string_view> sites;

// Lets every point of an operation fail in every way. Returns their number.
template <class World>
size_t sweep(const operations<World>& ops, void (*op)(World&), size_t area,
             iostate mask) {
  World gate(ops.input, area, mask), untroubled(ops.input, area, mask);
  const auto run = [&](World& w, size_t number, fault kind) {
    std::string raised = "cancelled";
    const auto call = [&] { raised = raised_by([&] { op(w); }, number, kind); };
    kind == fault::cancel ? std::thread(call).join() : call();
    return raised.find("alloc") == raised.npos ? raised : "no memory";
  };
  raised_by([&] { gate.in.sentry(ops.where != skipping); }, 0, fault::none);
  const size_t outside =
      ops.where <= making ? passed.max_size() : passed.size();
  const std::string usual = run(untroubled, 0, fault::none);
  EXPECT_TRUE(untroubled.io.is_valid());
  const std::vector<fault_point> points = passed;
  for (size_t number = 1; number <= points.size(); ++number) {
    const auto& [site, refuses] = points[number - 1];
    sites.insert(site);
    for (const fault kind : {fault::library, fault::standard, fault::other,
                             fault::refusal, fault::cancel}) {
      if (kind == fault::refusal ? !refuses : site == heap) continue;
      // Threads take long, and large areas or other masks test nothing more.
      if (kind == fault::cancel &&
          (!with_libstdcxx || area == 64 || mask > bad)) {
        continue;
      }
      SCOPED_TRACE(testing::Message() << "fault " << static_cast<int>(kind)
                                      << " at " << number << ", " << site);
      const long blocks = nalo_test::blocks_in_use;
      {
        World w(ops.input, area, mask);
        const std::string raised = run(w, number, kind);
        w.expect_order();
        w.expect_rules(ops.where, number > outside, kind, site, raised);
        w.io.exceptions(good);
        if (w.io.bad() && ops.where != open) {
          run(w, 0, fault::none);
          EXPECT_EQ(passed.size(), 0) << "calls by a bad stream";
        }
        w.io.clear();
        EXPECT_EQ(run(w, 0, fault::none), ops.where <= making ? usual : "");
        w.expect_order();
      }
      EXPECT_EQ(nalo_test::blocks_in_use, blocks) << "a leak";
      if (testing::Test::HasFailure()) return number;
    }
  }
  return points.size();
}

TEST_SUITE_OF_CHARACTERS(FaultSweep);

TYPED_TEST(FaultSweep, KeepsTheRulesWhateverFails) {
  nalo::exception::set_dump_handler(nullptr);
  refused = [] { return !in_test_code && pass({heap}); };
  sites.clear();
  for (const auto& ops :
       all_operations<TypeParam, short, unsigned short, int, unsigned int, long,
                      unsigned long, long long, unsigned long long, float,
                      double, long double>()) {
    for (const auto& [name, op] : ops.calls) {
      size_t points = 0;
      for (const size_t area : {0U, 3U, 64U}) {
        for (const iostate mask : {good, bad, eof | fail, bad | eof | fail}) {
          SCOPED_TRACE(testing::Message()
                       << name << " area " << area << " mask " << mask);
          points += sweep(ops, op, area, mask);
        }
      }
      EXPECT_NE(points, 0) << name;
    }
  }
  // All virtual functions of the buffer and the facets, and the heap.
  EXPECT_EQ(sites.size(), sizeof(TypeParam) > 1 ? 19 : 18)
      << testing::PrintToString(sites);
}

}  // namespace
