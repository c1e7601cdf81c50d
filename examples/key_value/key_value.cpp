// Changes records of the form "key: value" and prints the result.
//
// The text is in memory, in a stream that both reads and writes. The program
// reads the records from the beginning of the text and appends the new text at
// its end. What is between two changed records is copied unchanged, so that
// comments, blank lines and invalid lines are kept.

#include <nalo/buffers/fd>
#include <nalo/iostream>
#include <nalo/sstream>
#include <nalo/string>

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

constexpr const char usage[] =
    "usage: key_value FILE [KEY=VALUE | KEY=]...\n"
    "\n"
    "Prints FILE, or standard input for -, with each KEY set to its VALUE. A\n"
    "KEY that is not there is added at the end; KEY= removes it. A record is "
    "a\n"
    "line 'key: value'; comments, which begin with #, and blank lines stay.\n";

// --- the text ----------------------------------------------------------------

// Loads the input, and adds a newline if the last line has none.
void load(nalo::iostream& text, nalo::streambuf& input) {
  using traits = nalo::streambuf::traits_type;
  if (input.sgetc() == traits::eof()) return;
  text << &input;
  text.seekg(-1, nalo::ios_base::end);
  if (text.get() != '\n') text.put('\n');
  text.seekg(0);
}

// Copies a part of the text to the put position. Leaves the get position after
// that part.
void copy(nalo::iostream& text, nalo::streampos from, nalo::streampos to) {
  text.seekg(from);
  for (nalo::streamoff left = to - from; left > 0; --left) {
    text.put(static_cast<char>(text.get()));
  }
}

// --- records -----------------------------------------------------------------

constexpr bool is_blank(int ch) { return ch == ' ' || ch == '\t'; }

void skip_blanks(nalo::istream& in) {
  while (is_blank(in.peek())) in.ignore();
}

void skip_line(nalo::istream& in) {
  in.ignore(std::numeric_limits<nalo::streamsize>::max(), '\n');
}

struct record {
  static constexpr std::size_t key_size = 64;  // with its null character

  std::string_view key;  // empty for comments and blank lines
  nalo::string value;

  // Reads one line. Returns what is wrong with it, or null.
  const char* read(nalo::istream& in);

 private:
  char key_area_[key_size];
};

const char* record::read(nalo::istream& in) {
  key = {};
  const nalo::streampos start = in.tellg();
  skip_blanks(in);
  if (in.peek() == '#' || in.peek() == '\n') {
    skip_line(in);
    return nullptr;
  }
  in.getline(key_area_, key_size, ':');
  if (in.good()) key = {key_area_, static_cast<std::size_t>(in.gcount()) - 1};
  if (key.empty() || key.find('\n') != key.npos) {
    // The search for the ':' may have continued in the following lines.
    key = {};
    in.clear();
    in.seekg(start);
    getline(in, value);
    const std::size_t colon = std::string_view(value).find(':');
    return colon == std::string_view::npos ? "there is no ':'"
           : colon < key_size              ? "there is no key before the ':'"
                                           : "the key is too long";
  }
  key = key.substr(0, key.find_last_not_of(" \t") + 1);
  skip_blanks(in);
  getline(in, value);
  return nullptr;
}

// --- changes -----------------------------------------------------------------

struct change {
  std::string_view value;  // empty: remove the record
  bool is_applied = false;
};
using changes = std::map<std::string_view, change>;

struct usage_error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

changes parse(int argc, char** argv) {
  changes wanted;
  for (int i = 2; i < argc; ++i) {
    const std::string_view text = argv[i];
    const std::size_t equals = text.find('=');
    const auto refuse = [&](const char* why) {
      throw usage_error("'" + std::string(text) + "': " + why);
    };
    if (equals == text.npos) refuse("there is no '='");
    if (text.find('\n') != text.npos) refuse("a record is a single line");
    const std::string_view key = text.substr(0, equals);
    if (key.empty()) refuse("there is no key");
    if (key.size() >= record::key_size) refuse("the key is too long");
    if (key.find(':') != key.npos || key.front() == '#' ||
        is_blank(key.front()) || is_blank(key.back())) {
      refuse("no record can have this key");
    }
    wanted[key] = {text.substr(equals + 1)};
  }
  return wanted;
}

// Not to cerr, which would flush cout, and that might fail.
void complain(std::string_view text) {
  nalo::clog << "key_value: " << text << nalo::endl;
}

void write_record(nalo::ostream& out, std::string_view key,
                  std::string_view value) {
  if (!value.empty()) out << key << ": " << value << '\n';
}

// Writes the changed text after the old one. Returns whether all lines were
// valid.
bool apply(changes& wanted, nalo::iostream& text, const std::string& file) {
  bool is_sound = true;
  const nalo::streampos end = text.tellp();
  nalo::streampos done = 0;  // everything before it was written
  record current;
  for (int line = 1; text.tellg() < end; ++line) {
    const nalo::streampos start = text.tellg();
    if (const char* problem = current.read(text)) {
      complain(file + ":" + std::to_string(line) + ": " + problem);
      is_sound = false;
      continue;
    }
    const auto found = wanted.find(current.key);
    if (found == wanted.end()) continue;
    auto& [key, wish] = *found;
    wish.is_applied = true;
    if (!wish.value.empty() && wish.value == current.value) continue;
    const nalo::streampos next = text.tellg();
    copy(text, done, start);
    write_record(text, key, wish.value);
    text.seekg(next);
    done = next;
  }
  copy(text, done, end);
  for (const auto& [key, wish] : wanted) {
    if (!wish.is_applied) write_record(text, key, wish.value);
  }
  text.seekg(end);
  return is_sound;
}

bool run(int argc, char** argv) {
  if (argc < 2) throw usage_error("there is no file");
  changes wanted = parse(argc, argv);
  const bool is_stdin = argv[1] == std::string_view("-");

  nalo::stringstream text;
  text.exceptions(nalo::ios_base::badbit);
  nalo::fdbuf input =
      is_stdin ? nalo::fdbuf(STDIN_FILENO) : nalo::fdbuf(argv[1]);
  load(text, input);
  const bool is_sound =
      apply(wanted, text, is_stdin ? "(standard input)" : argv[1]);

  nalo::ostream& out = nalo::cout;
  out.exceptions(nalo::ios_base::badbit);
  if (text.peek() != nalo::iostream::traits_type::eof()) out << text.rdbuf();
  out.flush();
  return is_sound;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv) ? 0 : 1;
  } catch (const usage_error& error) {
    complain(std::string(error.what()) + "\n\n" + usage);
    return 2;
  } catch (const nalo::fd_output_error& error) {
    // The reader has closed the pipe and needs no more.
    if (error.code() == EPIPE) return 128 + SIGPIPE;
    complain(std::string("(standard output): ") + error.what());
  } catch (const nalo::fd_input_error& error) {
    complain(std::string(argv[1]) + ": " + error.what());
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return 1;
}
