// Every operation of streams, strings and locales, run once for each place
// where it asks for memory or calls out, with that place failing in each way
// that it can. Afterwards the rules must hold: what is raised and what is
// swallowed, the state, what stays untouched; the object can be used again, and
// nothing is lost. A thread cancelled at such a place is one more way to fail.
#include <nalo/iomanip>
#include <nalo/istream>
#include <nalo/locale>
#include <nalo/string>

#include <gtest/gtest.h>

#include <pthread.h>

#include <initializer_list>
#include <iostream>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "dump_counter.h"
#include "fault_points.h"
#include "text.h"

NALO_TEST_COUNT_HEAP

namespace {

using namespace nalo_test;
using nalo::ios_base;
using iostate = ios_base::iostate;

constexpr iostate good = ios_base::goodbit, bad = ios_base::badbit,
                  eof = ios_base::eofbit, fail = ios_base::failbit;
constexpr const char* meets_mask = "basic_ios::clear";
constexpr const char* no_words =
    "WordAllocator: nalo::ios_base::grow_words_ allocation failed";

// Which calls of an operation lie inside the guarded region: none (plain), all
// (open), or those behind the gate, which flushes the tied stream and, for
// skipping, looks for white space. Open and inside ones set their state bits in
// the region, too.
enum class region { plain, open, inside, gated, skipping };
using enum region;

template <class World>
struct operation {
  const char* name;
  void (*run)(World&);
  region where = plain;
  const char* input = "";
};

#define RUN(...) "" #__VA_ARGS__, []([[maybe_unused]] World& w) { __VA_ARGS__; }

struct failing {
  fault_point point;
  size_t number;
  fault kind;
  // What it raises, as far as the code under test lets it through.
  std::string raises() const {
    const std::string site = point.site;
    return kind == fault::library    ? "library"
           : kind == fault::standard ? "standard"
           : kind == fault::other    ? "int"
           : site == "heap"          ? "std::bad_alloc"
           : site == "source"        ? "nalo::allocator out of memory"
                                     : "";
  }
  bool is_library() const {
    return kind == fault::library ||
           raises() == "nalo::allocator out of memory";
  }
  bool is_memory() const {
    const std::string site = point.site;
    return site == "heap" || site == "source";
  }
};

// Streams.

fault_source source;
nalo::allocator source_memory{source};

template <class Char>
const nalo::locale& faulty_locale() {
  static const nalo::locale all = [] {
    nalo::locale loc(nalo::locale::classic(), new fault_ctype<Char>);
    loc = nalo::locale(loc, new fault_numpunct<Char>);
    loc = nalo::locale(loc, new fault_num_put<Char>(0, source_memory));
    return nalo::locale(loc, new fault_num_get<Char>);
  }();
  return all;
}

template <class Char>
struct stream_world {
  struct setup {
    const operation<stream_world>& op;
    size_t area;
    iostate mask;
  };
  using string = nalo::basic_string<Char>;
  using buffer = fault_streambuf<Char>;

  explicit stream_world(const setup& with) : with_(with) {
    wordy.iword(11) = 5;
    wordy.exceptions(eof);
    in.imbue(faulty_locale<Char>());
    begin();
    in.exceptions(with.mask);
    tied.exceptions(with.mask);
  }
  // Makes everything but the string as it was at first, with one character of
  // the input taken.
  void begin() {
    io.clear();
    tied.clear();
    io.exceptions(good);
    tied.exceptions(good);
    const size_t area = with_.area;
    buf.emplace(script<Char>{.input = widened<Char>(with_.op.input),
                             .get_areas = {area},
                             .put_areas = {area, 250},
                             .seekable = true});
    tied_buf.emplace(script<Char>{});
    other.emplace(script<Char>{.input = widened<Char>("from"),
                               .get_areas = {area},
                               .put_areas = {area},
                               .accepts = 4});
    buf->sbumpc();
    io.gcount_ = 0;
    io.width(0);
    io.precision(6);
    io.tie(area == 64 ? &tied : nullptr);
    io.flags(ios_base::skipws | ios_base::dec |
             (area == 3 ? ios_base::unitbuf : ios_base::fmtflags{}));
    std::fill(std::begin(s), std::end(s), Char('#'));
    ch = '#';
    n = -1;
  }
  std::string seen() const {
    using view = std::basic_string_view<Char>;
    return "state " + std::to_string(io.rdstate()) + " gcount " +
           std::to_string(io.gcount()) + " array " +
           shown(view(s, std::size(s))) + " string " + shown(view(str)) +
           " character " + shown(view(&ch, 1)) + " value " + std::to_string(n) +
           " rest " + shown<Char>(buf->rest()) + " output " +
           shown<Char>(buf->output()) + " other " +
           shown<Char>(other->output() + other->rest()) + " tied " +
           std::to_string(tied.rdstate());
  }
  size_t gate() {
    if (with_.op.where < inside) return 0;
    fault_points::run(0, fault::none,
                      [this] { in.sentry(with_.op.where != skipping); });
    begin();
    return fault_points::passed.size();
  }

  // What is wrong after a fault, if anything is.
  std::string problem(const failing& at, const std::string& raised, int dumps,
                      size_t gate, const std::string& usual) const {
    const iostate state = io.rdstate(), mask = with_.mask;
    const bool masked = (mask & bad) != good, meets = (state & mask) != good;
    const bool outside = with_.op.where == plain || at.number <= gate;
    std::string fault = at.raises(), expected;
    if (fault == "std::bad_alloc" && is_about("word")) fault = no_words;
    bool dumped = false;
    if (at.kind == fault::cancel) {
      const bool in_tied = at.point.owner == &*tied_buf;
      if (tied.bad() != in_tied || io.bad() != (!in_tied && !outside)) {
        return "not the right stream is bad";
      }
      expected = "cancelled";
    } else if (at.point.owner == &*tied_buf) {
      // The tied stream's own failure, by its own mask.
      dumped = at.is_library() && !masked;
      if (at.kind == fault::other || masked) {
        expected = fault.empty() ? meets_mask : fault;
        if (state != good) return "the stream has state bits";
      } else if (seen() != usual.substr(0, usual.size() - 1) + '1') {
        return "a tied stream's failure has changed the outcome";
      }
      if (tied.bad() == (at.kind == fault::other)) return "the tied stream";
    } else if (fault.empty()) {
      const bool swallowed =
          meets && with_.op.where < gated && !outside && !masked;
      dumped = swallowed;
      if (meets && !swallowed) expected = meets_mask;
    } else if (outside || at.kind == fault::other) {
      expected = fault;
      if (state != good) return "an error that passes has set state bits";
      if (outside && (s[0] != '#' || str != kept || io.exceptions() != mask)) {
        return "not untouched";
      }
    } else {
      expected = masked ? fault : meets ? meets_mask : "";
      dumped = at.is_library() && !masked;
      if (!io.bad()) return "badbit is not set";
      if (n > 0) return "a value was stored";
      if (at.is_memory() && !buf->output().empty()) return "written too early";
      if (at.is_memory() && is_about("setw") && io.width() == 0) {
        return "the width is gone";
      }
      const auto taken = buf->play_.input.substr(0, buf->position());
      if (at.is_memory() && str != kept &&
          !taken.ends_with(std::basic_string_view<Char>(str))) {
        return "characters were lost on their way into the string";
      }
    }
    if (raised != expected) {
      return "raised \"" + raised + "\" instead of \"" + expected + '"';
    }
    if (dumps != dumped) return "dumped " + std::to_string(dumps);
    if (!buf->areas_in_order() || !tied_buf->areas_in_order() ||
        !other->areas_in_order()) {
      return "the pointers of an area are out of order";
    }
    if (shares != kept || str.size() > str.capacity() ||
        std::as_const(str).c_str()[str.size()] != Char()) {
      return "a string is not well-formed";
    }
    return {};
  }

  const setup with_;
  std::optional<buffer> buf{std::in_place, script<Char>{}},
      tied_buf{std::in_place, script<Char>{}},
      other{std::in_place, script<Char>{}};
  nalo::basic_iostream<Char> io{&*buf};
  nalo::basic_istream<Char>& in = io;
  nalo::basic_ostream<Char>& out = io;
  nalo::basic_ostream<Char> tied{&*tied_buf}, wordy{&*buf};
  const std::basic_string<Char> kept = std::basic_string<Char>(45, Char('k'));
  string str{kept, source_memory}, shares{str, source_memory};
  Char s[20];
  Char ch;
  long n;

 private:
  bool is_about(const char* what) const {
    return std::string_view(with_.op.name).find(what) != std::string_view::npos;
  }
};

template <class T, class World>
void read(World& w) {
  T value{};
  w.in >> value;
  w.n = value != T{};
}

template <class World>
const operation<World> input_operations[] = {
    {RUN(w.in.ignore()), inside, ".x"},
    {RUN(w.in.ignore(3)), inside, ".line"},
    {RUN(w.in.ignore(9, '\n')), inside, ".line\nx"},
    {RUN(w.in.getline(w.s, 9, '\n')), gated, ".a line\nx"},
    {RUN(w.in.getline(w.s, 9)), gated, ".a line\nx"},
    {RUN(w.in.get(w.s, 9, 'e')), gated, ".a line\nx"},
    {RUN(w.in.get(w.s, 9)), gated, ".a line\nx"},
    {RUN(w.in.get(*w.other, '\n')), gated, ".abc\nx"},
    {RUN(w.in.get(*w.other)), gated, ".abc\nx"},
    {RUN(w.in >> &*w.other), gated, ".a line\nx"},
    {RUN(getline(w.in, w.str)), gated,
     ".a line that is longer than what is in place, by far\nx"},
    {RUN(getline(w.in, w.str, {'e'})), gated, ".a line\nx"},
    {RUN(getline(w.in, w.str, {'e'}, 40)), gated,
     ".a string\nof more than that many characters\ne"},
    {RUN(w.in.get()), gated, ".x"},
    {RUN(w.in.get(w.ch)), gated, ".x"},
    {RUN(w.in.peek()), gated, ".x"},
    {RUN(w.in.read(w.s, 5)), gated, ".a line\nx"},
    {RUN(w.in.readsome(w.s, 5)), gated, ".a line\nx"},
    {RUN(w.in.putback('.')), gated, ".x"},
    {RUN(w.in.unget()), gated, ".x"},
    {RUN(w.in.sync()), gated, ".x"},
    {RUN(w.n = w.in.tellg()), gated, ".x"},
    {RUN(w.in.seekg(2)), gated, ".xy"},
    {RUN(w.in.seekg(-1, ios_base::end)), gated, ".xy"},
    {RUN(w.in >> nalo::ws), gated, ".  x"},
    {RUN(w.n = w.in.in_avail()), open, ".x"},

    {RUN(w.in >> w.ch), skipping, ".  x"},
    {RUN(w.in >> w.s), skipping, ".  word x"},
    {RUN(w.in >> w.str), skipping, ".  word x"},
    {RUN(w.in.width(3); getstring(w.in, w.s)), skipping, ".  word x"},
    {RUN(getstring(w.in, w.str)), skipping,
     ".  a_word_that_is_longer_than_what_is_in_place,_by_far x"},
    {RUN(read<bool>(w)), skipping, ".  1 "},
    {RUN(w.in >> nalo::boolalpha; read<bool>(w)), skipping,
     ".  nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn "},
    {RUN(read<short>(w)), skipping, ".  1,234 "},
    {RUN(read<unsigned short>(w)), skipping, ".  1234 "},
    {RUN(read<int>(w)), skipping, ".  1234 "},
    {RUN(read<unsigned int>(w)), skipping, ".  1234 "},
    {RUN(read<long>(w)), skipping, ".  1234 "},
    {RUN(read<unsigned long>(w)), skipping, ".  1234 "},
    {RUN(read<long long>(w)), skipping, ".  1234 "},
    {RUN(read<unsigned long long>(w)), skipping, ".  1234 "},
    {RUN(read<float>(w)), skipping, ".  -1.5e2 "},
    {RUN(read<double>(w)), skipping, ".  0x1.8p1 "},
    {RUN(read<long double>(w)), skipping, ".  1,234.5 "},
    {RUN(read<void*>(w)), skipping, ".  0x1f "},
};

template <class World>
const operation<World> output_operations[] = {
    {RUN(w.out.put('x')), inside},
    {RUN(w.out.write(w.s, 9)), inside},
    {RUN(w.out.width(9); w.out.insert(w.s, 5)), inside},
    {RUN(w.out << nalo::setw(9) << nalo::left << w.s[0]), inside},
    {RUN(w.out << w.str.c_str()), inside},
    {RUN(w.out << w.str), inside},
    {RUN(w.out << "narrow"), inside},
    {RUN(w.out << 'n'), inside},
    {RUN(w.out << std::basic_string_view(w.s, 9)), inside},
    {RUN(w.out << true), inside},
    {RUN(w.out << nalo::boolalpha << nalo::setw(50) << true), inside},
    {RUN(w.out << short{-1234}), inside},
    {RUN(w.out << static_cast<unsigned short>(1234)), inside},
    {RUN(w.out << 1234), inside},
    {RUN(w.out << 1234U), inside},
    {RUN(w.out << nalo::setw(500) << 1234L), inside},
    {RUN(w.out << 1234UL), inside},
    {RUN(w.out << 1234LL), inside},
    {RUN(w.out << 1234ULL), inside},
    {RUN(w.out << 1234.5F), inside},
    {RUN(w.out << nalo::fixed << nalo::setprecision(900) << 1e300), inside},
    {RUN(w.out << 1234.5L), inside},
    {RUN(w.out << static_cast<void*>(&source)), inside},
    {RUN(w.out << nullptr), inside},
    {RUN(w.out << &*w.other), inside},
    {RUN(w.out << nalo::endl), inside},
    {RUN(w.out << nalo::ends), inside},
    {RUN(w.out << nalo::flush), open},
    {RUN(w.n = w.out.tellp()), open},
    {RUN(w.out.seekp(0)), open},
    {RUN(w.out.seekp(0, ios_base::end)), open},
    {RUN(w.io.iword(20) = 1; w.io.iword(30) = 1), open},
    {RUN(w.io.pword(20) = &w), open},
    {RUN(w.io.copyfmt(w.wordy)), plain},
    {RUN(w.io.imbue(faulty_locale<std::decay_t<decltype(w.ch)>>())), plain},
};

// Strings, locales and errors: an operation that fails changes nothing.

template <class Char>
struct value_world {
  struct setup {
    const operation<value_world>& op;
    size_t length, capacity;
    bool shared, handed_out;
  };
  using S = nalo::basic_string<Char>;
  using punct = nalo::numpunct<Char>;
  using stream = nalo::basic_istream<Char>;

  explicit value_world(const setup& with) {
    s.reserve(with.capacity);
    s.append(text.data(), with.length);
    if (with.shared) shares = s;
    if (with.handed_out) s.data();
    before_ = seen();
    where_ = std::as_const(s).data();
  }
  void begin() {}
  size_t gate() { return 0; }
  std::string seen() const {
    std::string all = loc == full    ? "full "
                      : loc == plain ? "plain "
                                     : "another ";
    for (const S* each : {&s, &shares, &other, &far}) {
      all += shown(std::basic_string_view<Char>(*each)) + " of " +
             std::to_string(each->capacity()) + (each->shared() ? "+ " : " ");
      if (each->c_str()[each->size()] != Char()) all += "no zero behind it ";
    }
    return all + std::to_string(ios.rdstate());
  }
  std::string problem(const failing& at, const std::string& raised, int dumps,
                      size_t, const std::string&) const {
    const std::string expected =
        at.kind == fault::cancel ? "cancelled" : at.raises();
    if (raised != expected) {
      return "raised \"" + raised + "\" instead of \"" + expected + '"';
    }
    if (seen() != before_ || std::as_const(s).data() != where_) {
      return "changed to " + seen() + " from " + before_;
    }
    return dumps == 0 ? "" : "dumped";
  }

  const std::basic_string<Char> text = std::basic_string<Char>(35, Char('a')) +
                                       std::basic_string<Char>(35, Char('b'));
  const Char* const c_str = text.c_str();
  const size_t no_size = ~size_t{0};
  const fault_iterator<Char> first{c_str}, last{c_str + text.size()};
  nalo::allocator heap;
  S s{source_memory}, shares{source_memory}, other{text, source_memory},
      far{text, heap};
  const nalo::locale plain = nalo::locale::classic(),
                     full = faulty_locale<Char>(),
                     bare = plain.without_<nalo::numpunct<Char>>();
  nalo::locale loc = full;
  fault_streambuf<Char> buf{script<Char>{}};
  nalo::basic_ios<Char> ios{&buf};

 private:
  std::string before_;
  const Char* where_;
};

template <class World>
const operation<World> string_operations[] = {
    {RUN(w.s += 'x')},
    {RUN(w.s += w.c_str)},
    {RUN(w.s += w.other)},
    {RUN(w.s += w.text)},
    {RUN(w.s.append(w.s))},
    {RUN(w.s.append(50, 'x'))},
    {RUN(w.s.append(w.first, w.last))},
    {RUN(w.s.append(w.text, 3, 50))},
    {RUN(w.s.append(w.c_str, w.no_size))},
    {RUN(w.s.assign(70, 'x'))},
    {RUN(w.s.assign(w.first, w.last))},
    {RUN(w.s.assign(w.text, 3, 66))},
    {RUN(w.s = w.c_str)},
    {RUN(w.s = w.far)},
    {RUN(w.s = std::move(w.far))},
    {RUN(w.far.swap(w.s))},
    {RUN(w.s.swap(w.far))},
    {RUN(w.s.insert(0, w.text))},
    {RUN(w.s.insert(0, 50, 'x'))},
    {RUN(w.s.insert(0, w.s))},
    {RUN(w.s.insert(0, w.other))},
    {RUN(w.s.insert(w.s.cend(), 'x'))},
    {RUN(w.s.insert(w.s.cbegin(), w.first, w.last))},
    {RUN(w.s.replace(0, 2, w.text))},
    {RUN(w.s.replace(0, 2, 50, 'x'))},
    {RUN(w.s.replace(w.s.cbegin(), w.s.cend(), w.first, w.last))},
    {RUN(w.s.replace_all(w.text.substr(0, 1), w.text))},
    {RUN(w.s.replace_all('a', 'c'))},
    {RUN(w.s.erase_all(w.text.substr(34, 2)))},
    {RUN(w.s.erase(2, 1))},
    {RUN(w.s.erase(w.s.cbegin()))},
    {RUN(w.s.pop_back())},
    {RUN(w.s.resize(90, 'x'))},
    {RUN(w.s.resize(45))},
    {RUN(w.s.reserve(90))},
    {RUN(w.s.shrink_to_fit())},
    {RUN(w.s.data())},
    {RUN(w.s.begin())},
    {RUN(w.s.rend())},
    {RUN(w.s.at(2) = 'x')},
    {RUN(w.s.substr(0, 66))},
    {RUN(w.s.find(static_cast<decltype(w.c_str)>(nullptr)))},
    {RUN(typename World::S(w.s, w.heap))},
    {RUN(typename World::S(w.s, 1, 45, source_memory))},
    {RUN(typename World::S(w.c_str, source_memory))},
    {RUN(typename World::S(70, 'x', source_memory))},
    {RUN(typename World::S(w.first, w.last, source_memory))},
    {RUN(typename World::S(std::move(w.far), source_memory))},
    {RUN(typename World::S(w.s + w.c_str + w.other, source_memory))},
    {RUN(nalo::basic_string_funcarg(w.s + w.other))},
    {RUN(typename World::S(World::S::c_str(w.c_str)).clear())},
};

template <class World>
const operation<World> other_operations[] = {
    {RUN(w.loc = nalo::locale(w.loc, new fault_numpunct<char>))},
    {RUN(w.loc = nalo::locale(w.loc, w.plain, nalo::locale::numeric))},
    {RUN(w.loc = nalo::locale(w.loc, "C", nalo::locale::ctype))},
    {RUN(w.loc = w.plain.template combine<typename World::punct>(w.full))},
    {RUN(w.loc = w.loc.template combine<typename World::punct>(w.bare))},
    {RUN(w.loc = w.loc.template without_<typename World::punct>())},
    {RUN(w.loc = nalo::locale(w.loc, w.plain, 1))},
    {RUN(w.loc = nalo::locale("nowhere"))},
    {RUN(w.loc = nalo::locale(static_cast<const char*>(nullptr)))},
    {RUN(nalo::use_facet<typename World::punct>(w.bare))},
    {RUN(nalo::overflow_error("file", 1, "message"))},
    {RUN(typename World::stream(&w.buf, bad).rdbuf(nullptr))},
    {RUN(typename World::stream(nullptr, bad))},
    {RUN(nalo::impl::checkFacet(static_cast<typename World::punct*>(nullptr)))},
};

// Runs a call in a thread that is cancelled at a point of it.
template <class Call>
std::string run_cancelled(size_t at, Call call) {
  struct job {
    size_t at;
    Call& call;
    bool unwound = false;
  } current{at, call};
  const auto run = [](void* argument) -> void* {
    job& mine = *static_cast<job*>(argument);
    const struct unwinding {
      ~unwinding() { done = true; }
      bool& done;
    } guard{mine.unwound};
    fault_points::run(mine.at, fault::cancel, mine.call);
    return nullptr;
  };
  pthread_t thread;
  void* result = nullptr;
  EXPECT_EQ(pthread_create(&thread, nullptr, run, &current), 0);
  EXPECT_EQ(pthread_join(thread, &result), 0);
  return result == PTHREAD_CANCELED && current.unwound ? "cancelled" : "ended";
}

struct tally {
  size_t points = 0;
  std::set<std::string> sites;
};

// Runs an operation in worlds made from a setup, with every fault of the given
// kinds at every point. Answers how many points there are.
template <class World>
size_t sweep(const typename World::setup& with, const std::string& where,
             std::initializer_list<fault> kinds, tally& all) {
  std::vector<fault_point> points;
  std::string usual;
  size_t gate;
  const auto run_in = [&](World& w, size_t number, fault kind) {
    const auto call = [&] { with.op.run(w); };
    return kind == fault::cancel ? run_cancelled(number, call)
                                 : fault_points::run(number, kind, call);
  };
  {
    World w(with);
    gate = w.gate();
    run_in(w, 0, fault::none);
    points = fault_points::passed;
    usual = w.seen();
  }
  for (size_t number = 1; number <= points.size(); ++number) {
    const fault_point& point = points[number - 1];
    for (const fault kind : kinds) {
      if (kind == fault::refusal ? !point.refuses : !point.raises) continue;
      ++all.points;
      all.sites.insert(point.site);
      // What the thread keeps of its last error is the same before and after.
      nalo::exception("", 0, "").register_on_thread();
      const long blocks = live_blocks;
      std::string problem;
      {
        World w(with);
        const dump_counter dumps;
        const std::string raised = run_in(w, number, kind);
        problem = w.problem({fault_points::passed.back(), number, kind}, raised,
                            dumps.count(), gate, usual);
        w.begin();
        run_in(w, 0, fault::none);
        if (problem.empty() && w.seen() != usual) {
          problem = "afterwards " + w.seen() + " instead of " + usual;
        }
      }
      nalo::exception("", 0, "").register_on_thread();
      if (problem.empty() && live_blocks != blocks) problem = "a leak";
      EXPECT_EQ(problem, "")
          << with.op.name << where << ", point " << number << " (" << point.site
          << "), fault " << static_cast<int>(kind);
    }
  }
  return points.size();
}

template <class Char>
class FaultSweep : public testing::Test {
 protected:
  // With areas of several sizes and several exception masks.
  void sweep_streams(std::initializer_list<fault> kinds,
                     std::initializer_list<iostate> masks) {
    using world = stream_world<Char>;
    const auto visit = [&](const auto& op) {
      size_t points = 0;
      for (const size_t area : {0U, 1U, 3U, 64U}) {
        for (const iostate mask : masks) {
          points += sweep<world>({op, area, mask},
                                 ", areas of " + std::to_string(area) +
                                     ", mask " + std::to_string(mask),
                                 kinds, all_);
        }
      }
      EXPECT_NE(points, 0) << op.name;
    };
    for (const auto& op : input_operations<world>) visit(op);
    for (const auto& op : output_operations<world>) visit(op);
  }
  // With texts stored in every way.
  void sweep_values(std::initializer_list<fault> kinds) {
    using world = value_world<Char>;
    const auto visit = [&](const auto& op) {
      const typename world::setup setups[] = {
          {op, 5, 0, false, false},   {op, 39, 39, false, false},
          {op, 60, 60, false, false}, {op, 50, 80, false, false},
          {op, 60, 60, true, false},  {op, 3, 80, true, false},
          {op, 60, 60, false, true},  {op, 0, 0, false, false}};
      size_t points = 0;
      for (const auto& with : setups) {
        points += sweep<world>(with,
                               " on " + std::to_string(with.length) + " of " +
                                   std::to_string(with.capacity) +
                                   (with.shared ? ", shared" : ""),
                               kinds, all_);
      }
      EXPECT_NE(points, 0) << op.name;
    };
    for (const auto& op : string_operations<world>) visit(op);
    for (const auto& op : other_operations<world>) visit(op);
  }
  tally all_;
};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(FaultSweep, Chars);

TYPED_TEST(FaultSweep, NothingIsLostWhateverFails) {
  const auto kinds = {fault::library, fault::standard, fault::other,
                      fault::refusal};
  this->sweep_streams(kinds, {good, bad, eof | fail, bad | eof | fail});
  this->sweep_values(kinds);
  std::set<std::string> sites = {
      "heap",          "source",    "iterator",      "imbue",     "underflow",
      "uflow",         "pbackfail", "xsgetn",        "showmanyc", "overflow",
      "xsputn",        "sync",      "seekoff",       "seekpos",   "grouping",
      "decimal_point", "truename",  "thousands_sep", "falsename"};
  for (const char* type : {"bool", "long", "long long", "unsigned long",
                           "unsigned long long", "double", "long double"}) {
    sites.insert(std::string("num_put ") + type);
    sites.insert(std::string("num_get ") + type);
  }
  sites.insert({"num_put const void*", "num_get void*", "num_get float",
                "num_get unsigned short", "num_get unsigned int"});
  if (sizeof(TypeParam) > 1) sites.insert("is");
  EXPECT_EQ(this->all_.sites, sites);
  EXPECT_GT(this->all_.points, 10000);
  this->RecordProperty("points", std::to_string(this->all_.points));
  std::cout << this->all_.points << " faults tried\n";
}

TYPED_TEST(FaultSweep, NothingIsLostWhenItsThreadIsCancelled) {
  this->sweep_streams({fault::cancel}, {good, bad});
  this->sweep_values({fault::cancel});
  std::cout << this->all_.points << " cancellations tried\n";
}

}  // namespace
