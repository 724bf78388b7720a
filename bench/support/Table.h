#pragma once

#include <functional>
#include <string>
#include <vector>

namespace brindlevane {

/// Two medians, in seconds, of runs that took turns.
struct Medians {
  double ours;
  double peers;
};

/// Calls both in turn, after one call each that does not count, and takes the medians of what they
/// return.
///
/// @param rounds  calls of each
[[nodiscard]] Medians takeTurns(int rounds, const std::function<double()>& ours,
                                const std::function<double()>& peers);

/// The seconds that a call takes.
[[nodiscard]] double secondsOf(const std::function<void()>& call);

/// The table of ratios, printed as it grows.
class Table {
 public:
  /// Prints the head.
  Table();

  /// Adds the ratio of two times.
  ///
  /// @param what     what the server did
  /// @param peer     what it is compared with
  /// @param highest  the ratio that is still good
  void addTimes(const std::string& what, const std::string& peer, const Medians& medians,
                double highest);

  /// Adds an amount of memory.
  ///
  /// @param highest  MiB that are still good
  void addMemory(const std::string& what, double mebibytes, double highest);

  /// Whether no row exceeds its bound.
  [[nodiscard]] bool allGood() const { return allGood_; }

 private:
  bool allGood_ = true;
};

}  // namespace brindlevane
