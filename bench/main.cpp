#include "ServerBench.h"
#include "support/Table.h"

#include <csignal>
#include <exception>
#include <iostream>

int main() {
  // A program that left is met where its input is written.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    brindlevane::Table table;
    brindlevane::benchServer(table);
    return table.allGood() ? 0 : 1;
  } catch (const std::exception& fault) {
    std::cerr << "bench: " << fault.what() << "\n";
    return 2;
  }
}
