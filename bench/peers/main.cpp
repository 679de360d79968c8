// SPDX-License-Identifier: MIT
// peers_bench [flags of Google Benchmark] [row...]: runs the rows whose names hold one of the
// regular expressions, or all, and prints for every repetition of every contender
//
//   name <tab> repetition <tab> nanoseconds of the clock <tab> nanoseconds of the processor
//
// for one unit of the work. The contenders of a row take turns in random order; one row follows the
// other, so that what the machine does meanwhile meets all contenders of a row.
#include <algorithm>
#include <cstdio>
#include <regex>
#include <vector>

#include "bench/peers/peers.h"

namespace peers {

namespace {

std::vector<std::string>& Rows() {
  static std::vector<std::string> rows;
  return rows;
}

class Lines : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const double units = run.counters.at("units");
      std::printf("%s\t%d\t%.4g\t%.4g\n", run.run_name.function_name.c_str(),
                  static_cast<int>(run.repetition_index), run.GetAdjustedRealTime() / units,
                  run.GetAdjustedCPUTime() / units);
    }
    std::fflush(stdout);
  }
};

}  // namespace

void NoteRow(const std::string& row) {
  auto& rows = Rows();
  if (std::find(rows.begin(), rows.end(), row) == rows.end()) rows.push_back(row);
}

}  // namespace peers

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const rastelklp::Session session;
  peers::LoadModule();
  peers::AddMaps();
  peers::AddPictures();
  peers::AddVectors();
  peers::AddObjects();
  peers::AddCalls();
  peers::AddCurves();
  peers::Lines lines;
  for (const auto& row : peers::Rows()) {
    bool wanted = argc == 1;
    for (int i = 1; i < argc; ++i) wanted |= std::regex_search(row, std::regex(argv[i]));
    if (wanted) benchmark::RunSpecifiedBenchmarks(&lines, "^" + row + "/[^/]*(/real_time.*)?$");
  }
}
