// A mutant: one change to one source file that must not go unnoticed.
//
// A list of them is a text file, one row a mutant:
//
//   @ common/fpga_ctrl/array/bring_up.cpp                      the file that the rows below change
//   LumoGpioSetFpgaResetn(1); ==> LumoGpioSetFpgaResetn(0); :: the layers stay in reset :: ArrayRoad.*
//   [2] usleep(1000); ==> :: no rest after the second edge
//   a < b ==> a <= b :: the limit itself :: = equal: b is never met
//
// Left of ==> stands the text that is there: any white space stands for any other, and it occurs once, or it is the
// one whose number stands in []. Right of it, up to ::, what takes its place, which may be nothing. Then what the
// change means. Then, if given, the tests that are tried first, as a googletest filter, or after = why nobody can see
// it. Rows that begin with # are comments.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace mutate {

struct Mutant {
  std::string file;  // from the source directory
  std::string before, after;
  int occurrence = 0;  // 1 is the first; 0: there is only one
  std::string meaning;
  std::string filter;  // tests to try first; empty: all
  std::string equal;   // why it changes nothing that can be seen; empty: it must be caught
  std::string row;     // "shot.txt:12"
};

// A file's text. Throws std::runtime_error with its path if it cannot be read.
std::string ReadText(const std::filesystem::path& path);

// All rows of the lists *.txt in `folder`, in order of their names. Throws std::runtime_error at a row without sense.
std::vector<Mutant> ReadLists(const std::filesystem::path& folder);

// Single mechanical changes of a source file: each call or assignment that fills a line left out, two calls that follow
// each other exchanged, each number altered: by one, in its last bit if it is hexadecimal, by half from 10 on. What is
// only written to the log and the codes of failures are left alone.
std::vector<Mutant> MechanicalChanges(const std::filesystem::path& source, const std::string& file);

// The file's text with the change made, and where. Throws std::runtime_error if the text to change is not there, or
// more often than said.
struct Changed {
  std::string text;
  size_t line;
};
Changed Apply(const std::filesystem::path& source, const Mutant& mutant);

// `count` of `mutants`, drawn by `seed`: the same text gives the same ones. In their old order.
std::vector<Mutant> Draw(std::vector<Mutant> mutants, size_t count, const std::string& seed);

}  // namespace mutate
