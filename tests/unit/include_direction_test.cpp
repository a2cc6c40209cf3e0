// The folders of src/ depend one way only:
//   cmd -> workspace -> {view, sim, io} -> model
// A file may include its own folder and any folder below it; view, sim and
// io never include each other. A new arrow upward (the view calling into
// the command layer, the document reading files) fails here, naming the
// file and the line.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const std::map<std::string, int> kRank = {
    {"model", 0}, {"io", 1}, {"sim", 1}, {"view", 1}, {"workspace", 2}, {"cmd", 3}};

// Every "#include "<folder>/..."" of the file that crosses a forbidden way.
std::vector<std::string> wrongIncludes(const fs::path& file, const std::string& folder) {
  std::vector<std::string> wrong;
  std::ifstream in(file);
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    const std::string prefix = "#include \"";
    if (line.compare(0, prefix.size(), prefix) != 0) continue;
    std::string target = line.substr(prefix.size());
    std::string::size_type slash = target.find('/');
    if (slash == std::string::npos) continue;
    std::string to = target.substr(0, slash);
    if (kRank.count(to) == 0) continue;
    if (to != folder && kRank.at(to) >= kRank.at(folder))
      wrong.push_back(file.string() + ":" + std::to_string(number) + ": " + line);
  }
  return wrong;
}

TEST(IncludeDirection, NoFolderIncludesOneAboveOrBesideIt) {
  const fs::path src = MODELR_SOURCE_DIR;
  std::vector<std::string> wrong;
  int files = 0;
  for (const auto& [folder, rank] : kRank) {
    (void)rank;
    ASSERT_TRUE(fs::is_directory(src / folder)) << folder;
    for (const auto& entry : fs::directory_iterator(src / folder)) {
      const std::string ext = entry.path().extension().string();
      if (ext != ".h" && ext != ".cpp") continue;
      ++files;
      for (const std::string& w : wrongIncludes(entry.path(), folder)) wrong.push_back(w);
    }
  }
  EXPECT_GT(files, 50);
  std::string report;
  for (const std::string& w : wrong) report += w + "\n";
  EXPECT_TRUE(wrong.empty()) << report;
}

}  // namespace
