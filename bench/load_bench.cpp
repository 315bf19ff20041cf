// Time to load liborvtypes.so and register its modules. Each iteration starts a fresh process
// (load_probe) that is linked against nothing of ours, so the library, its dependencies (vem,
// vemplatform) and every module's registration run from scratch; the probe times its own dlopen and
// the benchmark reports that time, not the fork and exec around it.
#include <benchmark/benchmark.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// Runs the probe and returns the nanoseconds it printed, or -1.
long long probeOnce() {
  int fds[2];
  if (pipe(fds) != 0) return -1;
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(fds[1], STDOUT_FILENO);
    close(fds[0]);
    close(fds[1]);
    execl(VEM_LOAD_PROBE, VEM_LOAD_PROBE, VEM_ORVTYPES_LIBRARY, static_cast<char*>(nullptr));
    _exit(127);
  }
  close(fds[1]);
  char buffer[64] = {};
  const ssize_t n = read(fds[0], buffer, sizeof buffer - 1);
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (pid < 0 || n <= 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
  return std::atoll(buffer);
}

void BM_LoadOrvTypes(benchmark::State& state) {
  for (auto _ : state) {
    const long long ns = probeOnce();
    if (ns < 0) {
      state.SkipWithError("load_probe failed");
      return;
    }
    state.SetIterationTime(double(ns) * 1e-9);
  }
}
BENCHMARK(BM_LoadOrvTypes)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(50);

}  // namespace

BENCHMARK_MAIN();
