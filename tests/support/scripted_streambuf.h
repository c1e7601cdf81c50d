// A stream buffer that follows a script: input in get areas of given sizes,
// output into put areas of given sizes, and a failure at a given virtual call.
// It logs all virtual calls. Part of common.h.
#pragma once

namespace nalo_test {

// How a call fails: it raises a library error, a std::exception or an int,
// refuses (eof, -1, a count of 0, no memory), or its thread is cancelled. When
// it meddles, it succeeds but changes the stream that calls it.
enum class fault { none, library, standard, other, refusal, cancel, meddle };
inline std::function<void()> meddle;

// Some tests compare with the streams of libstdc++. With libc++, handlers
// cannot recognize the unwinding of a cancelled thread.
#ifdef __GLIBCXX__
inline constexpr bool with_libstdcxx = true;
#else
inline constexpr bool with_libstdcxx = false;
#endif

inline void raise(fault kind) {
  if (kind == fault::meddle) meddle();
  if (kind == fault::library) throw nalo::exception("script", 1, "library");
  if (kind == fault::standard) throw std::runtime_error("standard");
  if (kind == fault::other) throw 42;
  if (kind == fault::cancel) {
    // Makes the address sanitizer forget the frames that will be unwound.
    try {
      throw 0;
    } catch (int) {
    }
    pthread_cancel(pthread_self());
    pthread_testcancel();
  }
}

// What a call raises: the message of an error, "int", or nothing.
std::string raised_by(auto call) {
  try {
    call();
  } catch (const std::exception& error) {
    return error.what();
  } catch (int) {
    return "int";
  }
  return {};
}

// Where the code under test calls something that a client provides.
struct fault_point {
  std::string_view site;
  bool refuses = true;
};
inline std::vector<fault_point> passed(2000);  // so that it need not grow
inline bool armed = false, in_test_code = false;
inline size_t failing = 0;  // 1 for the first point, 0 for none
inline fault failing_kind = fault::none;
// When set, it is called at each point until it lets one fail.
inline std::function<fault()> decide;

// At the point that is to fail, raises or returns true for a refusal.
inline bool pass(const fault_point& point) {
  if (!armed) return false;
  passed.push_back(point);
  if (decide && (failing_kind = decide()) != fault::none) {
    failing = passed.size();
  }
  if (passed.size() != failing) return false;
  armed = false;
  raise(failing_kind);
  return failing_kind == fault::refusal;
}

// Sets a flag as long as this object exists.
struct while_set {
  while_set(bool& f, bool value) : flag(f), before(std::exchange(f, value)) {}
  ~while_set() { flag = before; }
  bool& flag;
  const bool before;
};

// Lets the k-th point from now fail.
inline void arm(size_t k, fault kind) {
  passed.clear();
  failing = k;
  failing_kind = kind;
  armed = true;
}
// What a call raises when its k-th point fails.
std::string raised_by(auto call, size_t k, fault kind) {
  return raised_by([&] {
    const while_set disarmed_later(armed, false);
    arm(k, kind);
    call();
  });
}

template <class Char>
struct script {
  std::basic_string<Char> input = {};
  // The sizes of the areas, repeated. For a size of 0 there is no area: the
  // character can only be read or written by virtual calls.
  std::vector<size_t> get_areas = {64};
  std::vector<size_t> put_areas = {64};
  size_t accepts = std::basic_string<Char>::npos;  // characters of output
  bool seekable = false;
  // When set, it is called at the end of the input and may add to it.
  std::function<void(script&)> extend = {};
};

template <class Char>
class scripted_streambuf : public nalo::basic_streambuf<Char> {
  using base = nalo::basic_streambuf<Char>;
  using traits = nalo::char_traits<Char>;
  using int_type = typename traits::int_type;
  using text = std::basic_string<Char>;
  using streampos = nalo::streampos;
  using ios_base = nalo::ios_base;

 public:
  explicit scripted_streambuf(script<Char> play) : play_(std::move(play)) {}

  // How many characters of the input were taken.
  size_t position() const {
    return area_at_ + static_cast<size_t>(this->gptr() - this->eback());
  }
  text rest() const { return play_.input.substr(position()); }
  text output() const { return drained_ + text(this->pbase(), this->pptr()); }
  bool wrote_past_end() const {
    return std::any_of(this->pptr(), this->epptr(), [](Char c) { return +c; });
  }
  bool areas_in_order() const {
    return this->eback() <= this->gptr() && this->gptr() <= this->egptr() &&
           this->pbase() <= this->pptr() && this->pptr() <= this->epptr();
  }

  // Writes the log elsewhere, with a prefix before each call.
  void log_to(std::string& log, const char* prefix) {
    log_ = &log;
    prefix_ = prefix;
  }

  script<Char> play_;
  std::string own_log_;  // as in "underflow overflow(97) pbackfail(eof) "

 protected:
  void imbue(const nalo::locale&) override { call(*this, "imbue"); }

  int_type underflow() override {
    const call now(*this, "underflow");
    if (now.fails || at_end()) return traits::eof();
    leave_area(position());
    const size_t size = next_size(play_.get_areas, get_at_);
    if (size == 0) return traits::to_int_type(play_.input[area_at_]);
    ++get_at_;
    const text area = play_.input.substr(area_at_, size);
    get_area_ = std::vector<Char>(area.begin(), area.end());
    Char* const begin = get_area_.data();
    this->setg(begin, begin, begin + area.size());
    return traits::to_int_type(*begin);
  }
  int_type uflow() override {
    if (next_size(play_.get_areas, get_at_) != 0) return base::uflow();
    const call now(*this, "uflow");
    if (now.fails || at_end()) return traits::eof();
    ++get_at_;
    leave_area(position() + 1);
    return traits::to_int_type(play_.input[position() - 1]);
  }
  int_type pbackfail(int_type ch) override {
    const call now(*this, "pbackfail", shown(ch));
    if (now.fails || position() == 0) return traits::eof();
    const int_type last = traits::to_int_type(play_.input[position() - 1]);
    if (ch != traits::eof() && ch != last) return traits::eof();
    leave_area(position() - 1);
    return last;
  }
  nalo::streamsize xsgetn(Char* s, nalo::streamsize n) override {
    const call now(*this, "xsgetn");
    return now.fails ? 0 : base::xsgetn(s, n);
  }
  nalo::streamsize showmanyc() override {
    const call now(*this, "showmanyc");
    const auto left = static_cast<nalo::streamsize>(rest().size());
    return now.fails || left == 0 ? -1 : left;
  }

  int_type overflow(int_type ch) override {
    const call now(*this, "overflow", shown(ch));
    if (now.fails) return traits::eof();
    drain();
    if (drained_.size() >= play_.accepts) return traits::eof();
    if (ch != traits::eof()) drained_ += traits::to_char_type(ch);
    put_area_ =
        std::vector<Char>(std::min(next_size(play_.put_areas, put_at_++),
                                   play_.accepts - drained_.size()));
    this->setp(put_area_.data(), put_area_.data() + put_area_.size());
    return traits::not_eof(ch);
  }
  // A single character may also come by sputc(), so such calls are not logged.
  nalo::streamsize xsputn(const Char* s, nalo::streamsize n) override {
    if (n == 1) return base::xsputn(s, n);
    const call now(*this, "xsputn");
    return now.fails ? 0 : base::xsputn(s, n);
  }

  int sync() override {
    const call now(*this, "sync");
    if (now.fails) return -1;
    drain();
    return 0;
  }
  streampos seekoff(nalo::streamoff off, ios_base::seekdir way,
                    ios_base::openmode mode) override {
    const call now(*this, "seekoff",
                   std::to_string(off) + ',' + std::to_string(way) + ',' +
                       std::to_string(mode));
    return now.fails ? streampos(-1) : seek(off, way);
  }
  streampos seekpos(streampos pos, ios_base::openmode mode) override {
    const call now(*this, "seekpos",
                   std::to_string(pos - 0) + ',' + std::to_string(mode));
    return now.fails ? streampos(-1) : seek(pos, ios_base::beg);
  }

 private:
  // Logs a virtual call and lets it fail if it is the one to fail.
  struct call {
    call(scripted_streambuf& buf, const char* name,
         const std::string& arguments = {})
        : fails(pass({name})) {
      *buf.log_ += buf.prefix_ + std::string(name);
      if (!arguments.empty()) *buf.log_ += '(' + arguments + ')';
      *buf.log_ += ' ';
    }
    bool fails;
    while_set pause{in_test_code, true};
  };
  static std::string shown(int_type ch) {
    return ch == traits::eof() ? "eof" : std::to_string(ch);
  }
  bool at_end() {
    if (position() == play_.input.size() && play_.extend) play_.extend(play_);
    return position() == play_.input.size();
  }
  static size_t next_size(const std::vector<size_t>& sizes, size_t at) {
    return sizes[at % sizes.size()];
  }
  void leave_area(size_t pos) {
    area_at_ = pos;
    this->setg(nullptr, nullptr, nullptr);
  }
  void drain() {
    drained_.append(this->pbase(), this->pptr());
    this->setp(nullptr, nullptr);
  }
  // The position is that of the input.
  streampos seek(nalo::streamoff off, ios_base::seekdir way) {
    const size_t from = way == ios_base::beg   ? 0
                        : way == ios_base::cur ? position()
                                               : play_.input.size();
    const size_t to = from + static_cast<size_t>(off);
    if (!play_.seekable || to > play_.input.size()) return -1;
    leave_area(to);
    return static_cast<nalo::streamoff>(to);
  }

  std::vector<Char> get_area_;
  size_t area_at_ = 0;  // the position of the get area in the input
  size_t get_at_ = 0;
  std::vector<Char> put_area_;
  text drained_;  // the output before the put area
  size_t put_at_ = 0;
  std::string* log_ = &own_log_;
  const char* prefix_ = "";
};

template <class Char>
struct other_traits : std::char_traits<Char> {};

// A stream over a scripted buffer, and the arguments of its operations: another
// buffer to copy from and to, and strings to read into.
template <class Char, class Stream = nalo::basic_iostream<Char>>
struct scripted_world {
  using text = std::basic_string<Char>;
  using string = nalo::basic_string<Char>;

  explicit scripted_world(const script<Char>& play,
                          const script<Char>& others = {})
      : buf(play), other(others) {}

  scripted_streambuf<Char> buf, other;
  Stream io{&buf};
  string str;
  text standard;
  std::basic_string<Char, other_traits<Char>> with_traits;
};

}  // namespace nalo_test
