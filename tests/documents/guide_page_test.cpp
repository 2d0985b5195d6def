// Holds the library's guide against the program that its snippets are taken from.
#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace tessel {
namespace {

// The tests run in the root of the tree.
std::ifstream Open(const std::string& path) {
  std::ifstream file(path);
  if (!file) {
    throw std::runtime_error("cannot read " + path);
  }
  return file;
}

// The lines without the blanks that all of them begin with.
std::string WithoutIndentation(const std::string& text) {
  std::size_t indentation = std::string::npos;
  std::string line;
  for (std::istringstream lines(text); std::getline(lines, line);) {
    indentation = std::min(indentation, line.find_first_not_of(' '));
  }
  std::string result;
  for (std::istringstream lines(text); std::getline(lines, line);) {
    result.append(line, std::min(indentation, line.size())).append("\n");
  }
  return result;
}

using Snippets = std::map<std::string, std::string>;

// The regions between "// [name]" and "// [end]".
Snippets ProgramSnippets() {
  Snippets snippets;
  std::string name;
  std::string line;
  for (auto file = Open("examples/guide.cpp"); std::getline(file, line);) {
    const std::size_t mark = line.find("// [");
    if (mark == std::string::npos) {
      if (!name.empty()) {
        snippets[name] += line + "\n";
      }
      continue;
    }
    name = line.substr(mark + 4, line.size() - mark - 5);
    if (name == "end") {
      name.clear();
    }
  }
  for (auto& [region, text] : snippets) {
    text = WithoutIndentation(text);
  }
  return snippets;
}

// The blocks of C++ on the page, by the comment in front of them.
Snippets PageSnippets() {
  Snippets snippets;
  const std::string comment = "<!-- guide.cpp: ";
  std::string name;
  bool inside = false;
  std::string line;
  for (auto file = Open("docs/tessel.md"); std::getline(file, line);) {
    if (line.starts_with(comment)) {
      name = line.substr(comment.size(), line.find(" -->") - comment.size());
    } else if (line.starts_with("```")) {
      EXPECT_TRUE(inside || line != "```cpp" || !name.empty()) << "a snippet without its source";
      inside = !inside && line == "```cpp";
    } else if (inside) {
      snippets[name] += line + "\n";
    }
  }
  return snippets;
}

TEST(GuidePageTest, ShowsWhatTheExampleProgramRuns) {
  const Snippets program = ProgramSnippets();
  EXPECT_GT(program.size(), 8U);
  EXPECT_EQ(PageSnippets(), program);
}

}  // namespace
}  // namespace tessel
