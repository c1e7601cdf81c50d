// Scripts that tests play on a buffer.
#pragma once

#include "common.h"

namespace nalo_test {

// Runs the steps of a script, which spaces separate, and returns the results.
std::string played(const std::string& script, auto run) {
  std::istringstream steps(script);
  std::string log;
  for (std::string step; steps >> step;) {
    if (!log.empty()) log += ' ';
    log += run(step);
  }
  return log;
}

// Performs a step on a buffer and returns its result:
//   <3   takes up to three characters   >ab   writes "ab"
//   -    puts the last one back         -a    puts 'a' back
//   ?    counts what can be read
//   @    returns the input's position   =3    seeks in input and output
//   @out or @both, =3in or =3out: the same for the side that is named
//   !    synchronizes
template <class Char>
std::string done(const std::string& step, nalo::basic_streambuf<Char>& buffer) {
  const std::string argument = step.substr(1);
  const auto is = [&](char what) { return step[0] == what; };
  if (is('<')) return shown<Char>(taken(buffer, std::stoul(argument)));
  const auto mode = argument.ends_with("out")  ? out
                    : argument.ends_with("in") ? in
                    : step == "@"              ? in
                                               : in | out;
  if (is('=')) {
    return std::to_string(buffer.pubseekpos(std::stol(argument), mode));
  }
  const auto tell = [&] { return buffer.pubseekoff(0, ios_base::cur, mode); };
  return std::to_string(is('>')       ? put(buffer, argument)
                        : step == "-" ? static_cast<int>(buffer.sungetc())
                        : is('-')
                            ? static_cast<int>(buffer.sputbackc(Char(step[1])))
                        : is('?') ? buffer.in_avail()
                        : is('!') ? buffer.pubsync()
                                  : nalo::streamoff(tell()));
}

}  // namespace nalo_test
