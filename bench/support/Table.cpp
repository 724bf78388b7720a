#include "support/Table.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace brindlevane {
namespace {

double medianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

std::string durationText(double seconds) {
  char text[32];
  const bool tiny = seconds < 1e-3;
  std::snprintf(text, sizeof text, "%.*f %s", seconds < 0.1 ? 2 : 0, seconds * (tiny ? 1e6 : 1e3),
                tiny ? "us" : "ms");
  return text;
}

const char* verdictOf(bool good) {
  return good ? "ok" : "MISSED";
}

}  // namespace

Medians takeTurns(int rounds, const std::function<double()>& ours,
                  const std::function<double()>& peers) {
  std::vector<double> ourTimes;
  std::vector<double> peerTimes;
  (void)ours();
  (void)peers();
  for (int round = 0; round < rounds; ++round) {
    ourTimes.push_back(ours());
    peerTimes.push_back(peers());
  }
  return {medianOf(std::move(ourTimes)), medianOf(std::move(peerTimes))};
}

double secondsOf(const std::function<void()>& call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

Table::Table() {
  std::printf("%-28s %10s  %-28s %10s %6s %6s\n", "Brindlevane", "", "beside", "", "ratio", "most");
}

void Table::addTimes(const std::string& what, const std::string& peer, const Medians& medians,
                     double highest) {
  const double ratio = medians.ours / medians.peers;
  const bool good = ratio <= highest;
  allGood_ = allGood_ && good;
  std::printf("%-28s %10s  %-28s %10s %6.2f %6.2f  %s\n", what.c_str(),
              durationText(medians.ours).c_str(), peer.c_str(), durationText(medians.peers).c_str(),
              ratio, highest, verdictOf(good));
  std::fflush(stdout);
}

void Table::addMemory(const std::string& what, double mebibytes, double highest) {
  const bool good = mebibytes <= highest;
  allGood_ = allGood_ && good;
  std::printf("%-28s %6.1f MiB  %-28s %10s %6s %6.2f  %s\n", what.c_str(), mebibytes, "", "", "",
              highest, verdictOf(good));
  std::fflush(stdout);
}

}  // namespace brindlevane
