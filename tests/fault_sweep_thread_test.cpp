// Every operation of streams and locales, and every kind of those of strings,
// run once for each place where it asks for memory or calls out, with that
// place failing in each way that it can. Afterwards the rules must hold: what
// is raised and what is swallowed, the state, what stays untouched; the object
// can be used again, and nothing is lost. A thread cancelled at such a place is
// one more way to fail.
#include <nalo/base/ctype>
#include <nalo/base/num_get>
#include <nalo/base/num_put>
#include <nalo/base/numpunct>
#include <nalo/iomanip>
#include <nalo/istream>
#include <nalo/string>

#include <gtest/gtest.h>

#include <initializer_list>
#include <iostream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <typeinfo>
#include <utility>
#include <vector>

#include "blocks_in_use.h"
#include "dump_counter.h"
#include "scripted_streambuf.h"
#include "text.h"

namespace {

using namespace nalo_test;
using nalo::ios_base;
using iostate = ios_base::iostate;

constexpr iostate good = ios_base::goodbit, bad = ios_base::badbit,
                  eof = ios_base::eofbit, fail = ios_base::failbit;
constexpr const char* meets_mask = "basic_ios::clear";
// What a fault of each kind raises.
constexpr const char* raised_as[] = {"",    "library",   "standard",
                                     "int", "no memory", "cancelled"};

// Runs a call in which a point fails, in a thread of its own if it is to be
// cancelled; answers what it raises.
template <class Call>
std::string run_failing(size_t number, fault kind, Call call,
                        bool in_thread = false) {
  std::string raised = "cancelled";
  const auto run = [&] { raised = raised_by(call, number, kind); };
  in_thread ? std::thread(run).join() : run();
  return raised.find("alloc") == raised.npos ? raised : "no memory";
}

struct fault_source : nalo::memory_source {
  void* allocate(size_t bytes) override {
    if (pass({"source"})) return nullptr;
    const while_set pause(in_test_code, true);
    return ::operator new(bytes);
  }
  void deallocate(void* block) noexcept override { ::operator delete(block); }
};
fault_source source;
nalo::allocator source_memory{source};

// A character behind a client's iterator; each that is read is a point.
template <class Char>
struct fault_char {
  fault_char(Char value) : ch(value) {}
  operator Char() const {
    pass({"iterator", nullptr, false});
    return ch;
  }
  Char ch;
};

// Facets each of whose virtual calls that streams make is a point. Narrow
// characters are classified without one.
template <class Char>
struct fault_ctype : nalo::ctype<Char> {};
template <>
struct fault_ctype<wchar_t> : nalo::ctype<wchar_t> {
  bool do_is(mask classes, wchar_t ch) const override {
    pass({"is", nullptr, false});
    return ctype::do_is(classes, ch);
  }
};

// Groups digits by three, and has texts too long to be in place.
template <class Char>
struct fault_numpunct : nalo::numpunct<Char> {
  using string = nalo::basic_string<Char>;
#define NALO_VIRTUAL(type, name, value) \
  type do_##name() const override {     \
    pass({#name, nullptr, false});      \
    return value;                       \
  }
  NALO_VIRTUAL(Char, decimal_point, '.')
  NALO_VIRTUAL(Char, thousands_sep, ',')
  NALO_VIRTUAL(nalo::string, grouping, nalo::string(45, '\3'))
  NALO_VIRTUAL(string, truename, string(45, 'y'))
  NALO_VIRTUAL(string, falsename, string(45, 'n'))
#undef NALO_VIRTUAL
};

// For each type of value.
template <class Char, class... Types>
struct fault_num_put : nalo::num_put<Char> {
  using nalo::num_put<Char>::num_put;
};
template <class Char, class T, class... Types>
struct fault_num_put<Char, T, Types...> : fault_num_put<Char, Types...> {
  using fault_num_put<Char, Types...>::fault_num_put;
  using fault_num_put<Char, Types...>::do_put;
  using out = nalo::ostreambuf_iterator<Char>;
  out do_put(out to, ios_base& io, Char fill, T val) const override {
    if (pass({"put ", nullptr, true, typeid(T).name()})) return nullptr;
    return nalo::num_put<Char>::do_put(to, io, fill, val);
  }
};
template <class Char, class... Types>
struct fault_num_get : nalo::num_get<Char> {};
template <class Char, class T, class... Types>
struct fault_num_get<Char, T, Types...> : fault_num_get<Char, Types...> {
  using fault_num_get<Char, Types...>::do_get;
  using in = nalo::istreambuf_iterator<Char>;
  in do_get(in from, in end, ios_base& io, iostate& err,
            T& val) const override {
    if (pass({"get ", nullptr, true, typeid(T).name()})) {
      err |= fail;
      return from;
    }
    return nalo::num_get<Char>::do_get(from, end, io, err, val);
  }
};

template <class Char>
const nalo::locale& faulty_locale() {
  using nalo::locale;
  using put =
      fault_num_put<Char, bool, long, unsigned long, long long,
                    unsigned long long, const void*, double, long double>;
  using get = fault_num_get<Char, bool, long, long long, unsigned short,
                            unsigned int, unsigned long, unsigned long long,
                            float, double, long double, void*>;
  static const locale numbers(locale(locale::classic(), new get),
                              new put(0, source_memory)),
      all(locale(numbers, new fault_ctype<Char>), new fault_numpunct<Char>);
  return all;
}

// Which calls of an operation lie inside the guarded region: none (plain), all
// (open), or those behind the gate, which flushes the tied stream and, for
// skipping, looks for white space. Open and inside ones set their state bits in
// the region, too. A plain operation that fails changes nothing at all.
enum region { plain, open, inside, gated, skipping };

template <class World>
using call = std::pair<const char*, void (*)(World&)>;
template <class World>
struct operations {
  std::vector<call<World>> calls;
  region where = plain;
  const char* input = "";
};
struct setup {
  size_t area;
  iostate mask;
  // How the text is stored.
  size_t length = 45, capacity = 45;
  bool shared = true, handed_out = false;
};

template <class Char>
struct world {
  using text = std::basic_string<Char>;
  using string = nalo::basic_string<Char>;
  using punct = nalo::numpunct<Char>;
  using istream = nalo::basic_istream<Char>;

  world(const operations<world>& ops, const setup& with)
      : ops_(ops), with_(with) {
    wordy.iword(11) = 5;
    wordy.exceptions(eof);
    in.imbue(full);
    s.reserve(with.capacity);
    s.append(letters.data(), with.length);
    if (with.shared) shares = s;
    if (with.handed_out) s.data();
    where_ = std::as_const(s).data();
    begin();
    before_ = seen();
  }
  // Makes everything but the strings as it was at first, with one character of
  // the input taken.
  void begin() {
    for (nalo::basic_ostream<Char>* each : {&out, &tied}) {
      each->clear();
      each->exceptions(with_.mask);
    }
    const size_t area = with_.area;
    buf.emplace(script<Char>{.input = widened<Char>(ops_.input),
                             .get_areas = {area},
                             .put_areas = {area, 250},
                             .seekable = true});
    buf->sbumpc();
    other.emplace(script<Char>{.input = widened<Char>("from"),
                               .get_areas = {area},
                               .put_areas = {area},
                               .accepts = 4});
    tied_buf.emplace(script<Char>{});
    io.gcount_ = 0;
    io.width(width_);
    io.precision(6);
    io.tie(area == 64 ? &tied : nullptr);
    io.flags(ios_base::skipws | ios_base::dec |
             (area == 3 ? ios_base::unitbuf : ios_base::fmtflags{}));
    std::fill_n(array, std::size(array), ch = '#');
    n = -1;
  }
  // How many points there are before the guarded region.
  size_t gate() {
    if (ops_.where < inside) return 0;
    run_failing(0, fault::none, [this] { in.sentry(ops_.where != skipping); });
    begin();
    return passed.size();
  }

  // What came out; of a plain operation, how the strings are stored, too.
  std::string seen() const {
    std::ostringstream all;
    all << shown<Char>({array, std::size(array)}) << " character "
        << shown<Char>({&ch, 1}) << " value " << n << " state " << io.rdstate()
        << " gcount " << io.gcount() << " locale " << (loc == full)
        << (loc == classic) << " rest " << shown<Char>(buf->rest())
        << " output " << shown<Char>(buf->output()) << " other "
        << shown<Char>(other->output() + other->rest());
    for (const string* each : {&s, &shares, &more, &far}) {
      all << ' ' << shown<Char>(*each);
      if (ops_.where == plain) all << each->capacity() << each->shared();
    }
    return all.str();
  }

  // The rule that does not hold after a fault, if any.
  std::string broken_rule(size_t number, fault kind, size_t gate,
                          const std::string& raised, int dumps,
                          const std::string& usual) const {
    const fault_point& at = passed.back();
    const std::string_view site = at.site;
    const bool cancelled = kind == fault::cancel,
               no_memory = site == "heap" || site == "source",
               refused = kind == fault::refusal && !no_memory,
               ours = kind == fault::library ||
                      (kind == fault::refusal && site == "source"),
               in_tied = at.owner == &*tied_buf,
               outside = !in_tied && (ops_.where == plain || number <= gate),
               passes =
                   cancelled || kind == fault::other || (outside && !refused),
               caught = !passes && !refused && !in_tied,
               masked = (with_.mask & bad) != good,
               meets = (with_.mask & io.rdstate()) != good,
               // Bits set inside of the region raise what it then swallows.
        swallowed = meets && !masked && !outside && ops_.where < gated,
               sets_only = refused && !in_tied;
    const std::string expected =
        passes || (masked && !refused) ? raised_as[static_cast<int>(kind)]
        : (sets_only ? meets && !swallowed : masked || meets) ? meets_mask
                                                              : "";
    const bool dumped = !passes && (sets_only ? swallowed : ours && !masked);
    const text taken = buf->play_.input.substr(0, buf->position()),
               kept = letters.substr(0, with_.length);
    const std::pair<bool, const char*> rules[] = {
        {raised == expected, "what is raised"},
        {dumps == dumped, "what is swallowed is dumped, if it is ours"},
        {tied.bad() == (in_tied && kind != fault::other), "the tied stream"},
        {!cancelled || io.bad() == (!in_tied && !outside), "bad if cancelled"},
        {cancelled || !(passes || (in_tied && masked)) || io.good(),
         "an error that passes sets no bits"},
        {passes || !in_tied || masked || seen() == usual,
         "what a tied stream swallows changes nothing"},
        {!outside || refused ||
             (ops_.where == plain
                  ? seen() == before_ && std::as_const(s).data() == where_
                  : s == kept && array[0] == '#'),
         "an error outside of the region changes nothing"},
        {!caught || (io.bad() && n <= 0), "badbit, and no value stored"},
        {!caught || !no_memory ||
             (buf->output().empty() &&
              (ops_.where != inside || io.width() == width_) &&
              (s == kept || taken.ends_with(s.c_str()))),
         "nothing is written, taken or reset before there is memory for it"},
        {buf->areas_in_order() && tied_buf->areas_in_order() &&
             other->areas_in_order(),
         "the pointers of areas are in order"},
        {s.size() <= s.capacity() && std::as_const(s).c_str()[s.size()] == 0 &&
             shares == (with_.shared ? kept : text()),
         "strings are well-formed, and others unchanged"},
    };
    for (const auto& [holds, rule] : rules) {
      if (!holds) return rule + (": raised " + raised) + ' ' + seen();
    }
    return {};
  }

  const operations<world>& ops_;
  const setup with_;
  const nalo::streamsize width_ = with_.area == 1 ? 500 : 0;
  const nalo::locale classic = nalo::locale::classic(),
                     full = faulty_locale<Char>(),
                     bare = classic.without_<punct>();
  nalo::locale loc = full;
  std::optional<scripted_streambuf<Char>> buf{script<Char>{}},
      tied_buf{script<Char>{}}, other{script<Char>{}};
  nalo::basic_iostream<Char> io{&*buf};
  istream& in = io;
  nalo::basic_ostream<Char>&out = io, tied{&*tied_buf}, wordy{&*buf};
  Char array[20], ch;
  long n;
  const text letters = text(35, Char('a')) + text(35, Char('b'));
  const Char* const c_str = letters.c_str();
  const std::vector<fault_char<Char>> chars{letters.begin(), letters.end()};
  const fault_char<Char>*first = chars.data(), *last = first + chars.size();
  nalo::allocator heap;
  string s{source_memory}, shares{source_memory}, more{letters, source_memory},
      far{letters, heap};

 private:
  const Char* where_;
  std::string before_;
};

#define OP(...) \
  call<World>("" #__VA_ARGS__, []([[maybe_unused]] World& w) { __VA_ARGS__; })

template <class World, class... Numbers>
std::vector<operations<World>> all_operations() {
  using string = typename World::string;
  using punct = typename World::punct;
  using istream = typename World::istream;
  using nalo::locale;
  return {
      {{OP(w.in.ignore()), OP(w.in.ignore(3)), OP(w.in.ignore(9, '\n'))},
       inside,
       ".line\nx"},
      {{OP(w.in.getline(w.array, 9, '\n')), OP(w.in.get(w.array, 9, 'e')),
        OP(w.in.get(*w.other, 'i')), OP(w.in >> &*w.other),
        OP(getline(w.in, w.s, {'e'})), OP(w.in.get()), OP(w.in.get(w.ch)),
        OP(w.in.peek()), OP(w.in.read(w.array, 5)),
        OP(w.in.readsome(w.array, 5)), OP(w.in.putback('.')), OP(w.in.unget()),
        OP(w.in.sync()), OP(w.n = w.in.tellg()), OP(w.in.seekg(2)),
        OP(w.in.seekg(-1, ios_base::end))},
       gated,
       ".a line\nx"},
      {{OP(w.in >> nalo::ws)}, gated, ".  x"},
      {{OP(getline(w.in, w.s)), OP(getline(w.in, w.s, {'e'}, 40))},
       gated,
       ".a string longer than what is in place, by\nfar\ne"},
      {{OP(w.n = w.in.in_avail())}, open, ".x"},
      {{OP(w.in >> w.ch), OP(w.in >> w.array), OP(w.in >> w.s),
        OP(w.in.width(3), getstring(w.in, w.array)),
        OP(w.in.width(0), getstring(w.in, w.s))},
       skipping,
       ".  a_word_that_is_longer_than_what_is_in_place,_by_far x"},
      {{OP(bool b{}; w.in >> b; w.n = b)}, skipping, ".  1 "},
      {{OP(bool b{}; w.in >> nalo::boolalpha >> b)},
       skipping,
       ".  nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn "},
      {{OP(double d{}; w.in >> d; w.n = d > 0)}, skipping, ".  1,234.5 "},
      {{OP(void* p{}; w.in >> p; w.n = p != nullptr)}, skipping, ".  0x1f "},
      {{OP(Numbers value{}; w.in >> value; w.n = value != Numbers{})...},
       skipping,
       ".  1,234 "},
      {{OP(w.out << Numbers(1234))...}, inside},
      {{OP(w.out.put('x')), OP(w.out.write(w.array, 9)),
        OP(w.out.insert(w.array, 5)), OP(w.out << nalo::left << w.array[0]),
        OP(w.out << w.c_str), OP(w.out << w.s), OP(w.out << "narrow"),
        OP(w.out << 'n'), OP(w.out << std::basic_string_view(w.array, 9)),
        OP(w.out << true), OP(w.out << nalo::boolalpha << true),
        OP(w.out << nalo::fixed << nalo::setprecision(900) << 1e300),
        OP(w.out << static_cast<void*>(&source)), OP(w.out << nullptr),
        OP(w.out << &*w.other), OP(w.out << nalo::endl),
        OP(w.out << nalo::ends)},
       inside},
      {{OP(w.out << nalo::flush), OP(w.n = w.out.tellp()), OP(w.out.seekp(0)),
        OP(w.out.seekp(0, ios_base::end)),
        OP(w.io.iword(20) = 1, w.io.iword(30) = 1), OP(w.io.pword(20) = &w)},
       open},
      // Strings have a model, whose memory fails, too.
      {{OP(w.s += w.letters), OP(w.s.append(w.s)),
        OP(w.s.append(w.first, w.last)), OP(w.s.assign(w.first, w.last)),
        OP(w.s.insert(w.s.cbegin(), w.first, w.last)),
        OP(w.s.replace(w.s.cbegin(), w.s.cend(), w.first, w.last)),
        OP(w.s.replace_all(w.letters.substr(0, 1), w.letters)), OP(w.s = w.far),
        OP(w.s = std::move(w.far)), OP(w.far.swap(w.s)),
        OP(w.s.resize(90, 'x')), OP(w.s.shrink_to_fit()), OP(w.s.data()),
        OP(string(w.s, w.heap)), OP(string(w.first, w.last, source_memory)),
        OP(string(std::move(w.far), source_memory)),
        OP(string(w.s + w.c_str + w.more, source_memory))}},
      {{OP(w.io.copyfmt(w.wordy)), OP(w.io.imbue(w.full)),
        OP(w.loc = locale(w.loc, new fault_numpunct<char>)),
        OP(w.loc = locale(w.loc, w.classic, locale::numeric)),
        OP(w.loc = locale(w.loc, "C", locale::ctype)),
        OP(w.loc = w.classic.template combine<punct>(w.loc)),
        OP(w.loc = w.loc.template combine<punct>(w.bare)),
        OP(w.loc = w.loc.template without_<punct>()),
        OP(w.loc = locale(w.loc, w.classic, 1)), OP(w.loc = locale("nowhere")),
        OP(w.loc = locale(static_cast<const char*>(nullptr))),
        OP(nalo::use_facet<punct>(w.bare)),
        OP(nalo::impl::checkFacet(static_cast<const punct*>(nullptr))),
        OP(nalo::overflow_error("file", 1, "message")),
        OP(istream(&*w.buf, bad).rdbuf(nullptr)), OP(istream(nullptr, bad))}}};
}
#undef OP

template <class Char>
class FaultSweep : public testing::Test {
 protected:
  using world = ::world<Char>;

  FaultSweep() {
    refused = [] { return !in_test_code && pass({"heap"}); };
  }

  // With areas of several sizes and exception masks, or texts stored in every
  // way.
  void sweep(std::initializer_list<fault> kinds,
             std::initializer_list<iostate> masks) {
    std::vector<setup> streams;
    for (const size_t area : {0U, 1U, 3U, 64U}) {
      for (const iostate mask : masks) streams.push_back({area, mask});
    }
    const std::vector<setup> texts = {{64, bad, 5, 0, false},
                                      {64, bad, 39, 39, false},
                                      {64, bad, 50, 80, false},
                                      {64, bad, 60, 60},
                                      {64, bad, 60, 60, false, true}};
    for (const auto& ops :
         all_operations<world, short, unsigned short, int, unsigned int, long,
                        unsigned long, long long, unsigned long long, float,
                        double, long double>()) {
      for (const auto& [name, run] : ops.calls) {
        size_t points = 0;
        for (const setup& with : ops.where == plain ? texts : streams) {
          SCOPED_TRACE(name + (" area " + std::to_string(with.area)) +
                       " mask " + std::to_string(with.mask) + " text " +
                       std::to_string(with.length));
          points += sweep(ops, run, with, kinds);
        }
        EXPECT_NE(points, 0) << name;
      }
    }
    std::cout << faults_ << " faults tried\n";
  }
  // With every fault of the given kinds at every point; answers the points.
  size_t sweep(const operations<world>& ops, void (*op)(world&),
               const setup& with, std::initializer_list<fault> kinds) {
    const auto run = [&](world& w, size_t number, fault kind) {
      return run_failing(
          number, kind, [&] { op(w); }, *kinds.begin() == fault::cancel);
    };
    world untroubled(ops, with);
    const size_t gate = untroubled.gate();
    run(untroubled, 0, fault::none);
    const std::vector<fault_point> points = passed;
    const std::string usual = untroubled.seen();
    for (size_t number = 1; number <= points.size(); ++number) {
      const fault_point& point = points[number - 1];
      const std::string site = std::string(point.site) + point.type;
      sites_.insert(site);
      for (const fault kind : kinds) {
        if (kind == fault::refusal ? !point.refuses : site == "heap") continue;
        ++faults_;
        const long blocks = blocks_in_use();
        std::string broken;
        {
          world w(ops, with);
          const dump_counter dumps;
          const std::string raised = run(w, number, kind);
          broken =
              w.broken_rule(number, kind, gate, raised, dumps.count(), usual);
          w.begin();
          run(w, 0, fault::none);
          if (w.seen() != usual) broken += ", later " + w.seen();
        }
        if (broken.empty() && blocks_in_use() != blocks) broken = "a leak";
        EXPECT_EQ(broken, "") << "fault " << static_cast<int>(kind)
                              << " at point " << number << ", " << site;
      }
    }
    return points.size();
  }

  size_t faults_ = 0;
  std::set<std::string> sites_;
};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(FaultSweep, Chars);

TYPED_TEST(FaultSweep, NothingIsLostWhateverFails) {
  this->sweep({fault::library, fault::standard, fault::other, fault::refusal},
              {good, bad, eof | fail, bad | eof | fail});
  EXPECT_GT(this->faults_, 10000);
  // Every virtual function of the buffer and of the facets, and memory.
  EXPECT_EQ(this->sites_.size(), sizeof(TypeParam) > 1 ? 39 : 38)
      << testing::PrintToString(this->sites_);
}

TYPED_TEST(FaultSweep, NothingIsLostWhenItsThreadIsCancelled) {
  this->sweep({fault::cancel}, {good, bad});
}

}  // namespace
