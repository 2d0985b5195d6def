// Holds the snippets of the library's guide and of its headers against the examples, which are run.
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <istream>
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

// The regions between "// [name]" and "// [end]", by the name of the file and theirs.
Snippets ProgramSnippets() {
  Snippets snippets;
  for (const auto& example : std::filesystem::directory_iterator("examples")) {
    const std::string file = example.path().filename().string();
    std::string name;
    std::string line;
    for (auto lines = Open(example.path().string()); std::getline(lines, line);) {
      const std::size_t mark = line.find("// [");
      if (mark == std::string::npos) {
        if (!name.empty()) {
          snippets[name] += line + "\n";
        }
        continue;
      }
      const std::string region = line.substr(mark + 4, line.size() - mark - 5);
      name = region == "end" ? "" : file;
      if (!name.empty()) {
        name.append(": ").append(region);
      }
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
  const std::string comment = "<!-- ";
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

TEST(GuidePageTest, ShowsWhatTheExamplesRun) {
  const Snippets program = ProgramSnippets();
  EXPECT_GT(program.size(), 8U);
  EXPECT_EQ(PageSnippets(), program);
}

// The lines without the blanks that they begin with.
std::string Flat(std::istream& lines) {
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    text.append(line, std::min(line.find_first_not_of(' '), line.size())).append("\n");
  }
  return text;
}

TEST(GuidePageTest, TheHeadersShowWhatTheExamplesRun) {
  std::string examples;
  for (const auto& example : std::filesystem::directory_iterator("examples")) {
    auto lines = Open(example.path().string());
    examples += Flat(lines);
  }
  int count = 0;
  for (const auto& header : std::filesystem::recursive_directory_iterator("src/support")) {
    if (header.path().extension() != ".h") {
      continue;
    }
    const std::string begin = "/// ```cpp";
    std::string line;
    for (auto lines = Open(header.path().string()); std::getline(lines, line);) {
      if (line != begin) {
        continue;
      }
      std::stringstream snippet;
      while (std::getline(lines, line) && line != "/// ```") {
        snippet << line.substr(std::min<std::size_t>(4, line.size())) << "\n";
      }
      ++count;
      const std::string flat = Flat(snippet);
      EXPECT_NE(examples.find(flat), std::string::npos) << header.path() << "\n" << flat;
    }
  }
  EXPECT_GT(count, 10);
}

}  // namespace
}  // namespace tessel
