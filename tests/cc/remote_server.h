// XRootD servers for tests: started through tools/xrootd-cluster on loopback
// ports under a temporary directory, stopped by pid when the test is done.
// The script watches this process and stops its daemons if the test dies in
// any other way.
#ifndef TESTS_CC_REMOTE_SERVER_H_
#define TESTS_CC_REMOTE_SERVER_H_

#include <sys/types.h>

#include <string>
#include <vector>

class ServerProcess {
 public:
  struct DataServer {
    std::string prefix;    // "root://127.0.0.1:PORT/"
    std::string data_dir;  // where its files live on this machine
  };

  ServerProcess() = default;
  // Does not wait: the script finishes stopping its daemons on its own.
  ~ServerProcess() { Stop(/*wait=*/false); }
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  // Starts a standalone server (or a cluster) and waits until it serves;
  // false with *error set when it does not.
  bool Start(bool cluster, std::string* error);
  // Asks the script to stop everything it started; with `wait`, until it has.
  void Stop(bool wait);

  // "root://127.0.0.1:PORT/": a name is this followed by an absolute path.
  const std::string& prefix() const { return prefix_; }
  const std::vector<DataServer>& data_servers() const { return data_servers_; }
  // The pids of the xrootd daemons the script started.
  const std::vector<pid_t>& daemons() const { return daemons_; }

 private:
  pid_t pid_ = -1;
  std::string prefix_;
  std::vector<DataServer> data_servers_;
  std::vector<pid_t> daemons_;
};

// The standalone server the remote tests of this process share: started on
// first use, stopped when the process exits. Fails the calling test (and
// returns "") when it cannot be started.
std::string SharedServerPrefix();

#endif  // TESTS_CC_REMOTE_SERVER_H_
