// The command line of text_report.
#ifndef NALO_EXAMPLES_TEXT_REPORT_OPTIONS_H
#define NALO_EXAMPLES_TEXT_REPORT_OPTIONS_H

#include <getopt.h>

#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

using count_type = std::uint64_t;

inline constexpr char usage[] =
    R"(usage: text_report [OPTION]... [FILE]...

Prints for each file its lines, its characters, the length of its longest line
and the mean length of its lines. Line ends count as characters, but not in the
length of a line. Reads standard input for - and when there is no file.

  --skip-lines N  skip the first N lines of each file
  --words [N]     print the N most frequent words of all files instead (10)
  --copy          copy the files to standard output instead
  --help          print this
)";

enum class job { report, words, copy, help };

struct options {
  job what = job::report;
  count_type word_limit = 10;
  count_type skip_lines = 0;
  std::vector<const char*> files;
};

// Says what is wrong, and shows the usage.
struct usage_error : std::runtime_error {
  explicit usage_error(const std::string& why)
      : runtime_error("text_report: " + why + "\n\n" + usage) {}
  usage_error() : runtime_error(usage) {}  // getopt_long() has printed why
};

inline bool is_number(std::string_view text) {
  return !text.empty() &&
         text.find_first_not_of("0123456789") == std::string_view::npos;
}

inline count_type parse_count(const char* option, std::string_view text) {
  const std::string quoted = option + (" '" + std::string(text)) + "'";
  if (!is_number(text)) throw usage_error(quoted + " is not a number");
  count_type count = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), count).ec !=
      std::errc()) {
    throw usage_error(quoted + " is too large");
  }
  return count;
}

inline options parse(int argc, char** argv) {
  constexpr option known[] = {{"skip-lines", required_argument, nullptr, 's'},
                              {"words", optional_argument, nullptr, 'w'},
                              {"copy", no_argument, nullptr, 'c'},
                              {"help", no_argument, nullptr, 'h'},
                              {nullptr, 0, nullptr, 0}};
  options opts;
  const auto choose = [&opts](job what) {
    if (opts.what != job::report && opts.what != what) {
      throw usage_error("--words and --copy exclude each other");
    }
    opts.what = what;
  };
  for (int id; (id = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
    switch (id) {
      case 's':
        opts.skip_lines = parse_count("--skip-lines", optarg);
        break;
      case 'w':
        choose(job::words);
        if (!optarg && optind < argc && is_number(argv[optind])) {
          optarg = argv[optind++];
        }
        if (optarg) opts.word_limit = parse_count("--words", optarg);
        break;
      case 'c':
        choose(job::copy);
        break;
      case 'h':
        opts.what = job::help;
        return opts;
      default:
        throw usage_error();
    }
  }
  opts.files.assign(argv + optind, argv + argc);
  if (opts.files.empty()) opts.files.push_back("-");
  return opts;
}

#endif
