// quarry: files on every registered file system from the command line.
// Exit status: 0 success, 1 a failure (one line on standard error), 2 a
// usage error.
#include <fmt/format.h>

#include "tools/quarry/quarry.h"

int main(int argc, char** argv) {
  CLI::App app{"quarry: list, read, copy and check files on every file system (local names, /mem/...)"};
  app.name("quarry");
  app.require_subcommand(1, 1);
  app.fallthrough(false);
  quarry::AddFileCommands(app);
  quarry::AddCopyCommands(app);
  quarry::AddChecksumCommands(app);
  quarry::AddRedundancyCommands(app);
  quarry::AddRecordCommands(app);
  quarry::AddLogCommands(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::RuntimeError& e) {
    return e.get_exit_code();  // the command printed its own errors
  } catch (const CLI::ParseError& e) {
    int code = app.exit(e);
    return code == 0 ? 0 : 2;
  } catch (const quarry::Failure& e) {
    fmt::print(stderr, "quarry: {}\n", e.what());
    return 1;
  }
  return 0;
}
