#include "ListeningBench.h"
#include "ServerBench.h"
#include "support/Table.h"

#include <csignal>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <string_view>

int main(int argc, char** argv) {
  using namespace brindlevane;
  static const std::map<std::string_view, std::function<void(Table&)>> kGroups = {
      {"start", benchStartUp}, {"trips", benchRoundTrips}, {"relay", benchRelay},
      {"memory", benchMemory}, {"listen", benchListening},
  };
  // A program that left is met where its input is written.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    Table table;
    for (int index = 1; index < argc; ++index) {
      const auto group = kGroups.find(argv[index]);
      if (group == kGroups.end()) {
        std::cerr << "bench_server: no group " << argv[index] << "\n";
        return 2;
      }
      group->second(table);
    }
    return table.allGood() ? 0 : 1;
  } catch (const std::exception& fault) {
    std::cerr << "bench_server: " << fault.what() << "\n";
    return 2;
  }
}
