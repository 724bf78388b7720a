#include "server/BrindlevaneMCPMain.h"

int main() {
  brindlevane::BrindlevaneMCPMain::main();
}
