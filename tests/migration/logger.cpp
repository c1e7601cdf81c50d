// A logger whose records are built in a string stream and written when they
// are destroyed, with levels, manipulators of its own and a moved-in target.
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

enum class level { debug, info, error };

std::ostream& operator<<(std::ostream& out, level l) {
  static const char* const names[] = {"debug", "info", "error"};
  return out << std::setw(5) << names[static_cast<int>(l)];
}

class logger {
 public:
  explicit logger(std::ostream& target) : target_(target) {}

  class record {
   public:
    record(std::ostream& target, level l) : target_(&target) {
      text_ << '[' << l << "] ";
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
    record& operator<<(std::ostream& (*manipulator)(std::ostream&)) {
      text_ << manipulator;
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

  record operator()(level l) { return record(target_, l); }

 private:
  std::ostream& target_;
};

std::ostream& separator(std::ostream& out) { return out << " | "; }

struct point {
  double x, y;
  friend std::ostream& operator<<(std::ostream& out, const point& p) {
    std::ostringstream text;
    text.copyfmt(out);
    text.width(0);
    text << '(' << p.x << ", " << p.y << ')';
    return out << text.str();
  }
};

int main() {
  std::ofstream file("run.log");
  std::vector<std::unique_ptr<std::ostream>> targets;
  targets.push_back(std::make_unique<std::ofstream>(std::move(file)));
  targets.push_back(std::make_unique<std::ostringstream>());
  for (auto& target : targets) {
    logger log(*target);
    log(level::info) << "started" << separator << 3 << ' ' << 2.5 << " at "
                     << point{1.5, -2};
    log(level::error) << std::hex << std::showbase << 255 << std::dec << ' '
                      << std::boolalpha << true << ' ' << 'c' << '\0' << "end";
    log(level::debug) << std::setprecision(3) << 3.14159 << std::scientific
                      << ' ' << 12345.678 << std::ends;
    const char* const text = "text";
    log(level::info) << text << ' ' << static_cast<const void*>(nullptr)
                     << nullptr << -1L << 18446744073709551615ULL;
  }
  auto& memory = static_cast<std::ostringstream&>(*targets[1]);
  std::cout << memory.str();
  memory.str("");
  memory << std::setfill('*') << std::internal << std::setw(8) << -42 << '|'
         << std::left << std::setw(6) << "ab" << '|' << std::right
         << std::setw(6) << "cd" << '|' << std::showpos << 7;
  std::cout << std::move(memory).str() << std::flush;
  std::clog << "\ndone\n";
}
