// A logger that writes each record when it is destroyed; also standard types.
#include <bitset>
#include <complex>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>

class record {
 public:
  record(std::ostream& target, const char* level) : target_(&target) {
    text_ << '[' << std::setw(5) << level << "] ";
  }
  record(record&& other) noexcept
      : target_(std::exchange(other.target_, nullptr)),
        text_(std::move(other.text_)) {}
  ~record() {
    if (target_) *target_ << text_.str() << std::endl;
  }
  template <class T>
  record& operator<<(const T& value) {
    text_ << value;
    return *this;
  }
  record& operator<<(std::ios_base& (*manipulator)(std::ios_base&)) {
    text_ << manipulator;
    return *this;
  }

 private:
  std::ostream* target_;
  std::ostringstream text_;
};

template <class T>
struct point {
  T x, y;
};
template <class Char, class Traits, class T>
std::basic_ostream<Char, Traits>& operator<<(
    std::basic_ostream<Char, Traits>& out, const point<T>& p) {
  std::basic_ostringstream<Char, Traits> text;
  text.copyfmt(out);
  text << std::setw(0) << '(' << p.x << ", " << p.y << ')';
  return out << text.str();
}

int main() {
  std::ofstream file("run.log");
  std::ofstream moved(std::move(file));
  std::ostringstream memory;
  std::ostream* const targets[] = {&moved, &memory};
  for (std::ostream* const target : targets) {
    const auto log = [&](const char* level) { return record(*target, level); };
    log("info") << "at " << point<double>{1.5, -2} << std::hex << std::showbase
                << 255 << std::dec << std::boolalpha << true << '\0' << "end";
    log("debug") << std::setprecision(3) << 3.14159 << std::scientific << ' '
                 << 12345.678 << static_cast<const void*>(nullptr) << -1L;
    log("error") << std::make_error_code(std::errc::no_such_file_or_directory)
                 << std::setw(12) << std::bitset<8>(0xA5)
                 << std::setprecision(3) << std::complex<double>(1.23456, -2)
                 << std::unique_ptr<int>();
  }
  std::cout << std::move(memory).str() << std::flush;
  std::clog << "\ndone\n";
}
