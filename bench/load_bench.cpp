// Loading liborvtypes.so and registering its modules, each iteration in a fresh process:
//  - the time: load_probe is linked against nothing of ours, so the library, its dependencies (vem,
//    vemplatform) and every module's registration run from scratch; the probe times its own dlopen and
//    the benchmark reports that time, not the fork and exec around it;
//  - the allocations: registration_probe counts the operator-new calls made during the load (all, and
//    those within a module's registration) and the types the load registers.
#include <benchmark/benchmark.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

// Runs a probe on the library and returns what it printed, or "" when it failed.
std::string probeOutput(const char* probe) {
  int fds[2];
  if (pipe(fds) != 0) return "";
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(fds[1], STDOUT_FILENO);
    close(fds[0]);
    close(fds[1]);
    execl(probe, probe, VEM_ORVTYPES_LIBRARY, static_cast<char*>(nullptr));
    _exit(127);
  }
  close(fds[1]);
  std::string out;
  char buffer[256];
  ssize_t n;
  while (pid > 0 && (n = read(fds[0], buffer, sizeof buffer)) > 0) out.append(buffer, static_cast<std::size_t>(n));
  close(fds[0]);
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return "";
  return out;
}

void BM_LoadOrvTypes(benchmark::State& state) {
  for (auto _ : state) {
    const std::string out = probeOutput(VEM_LOAD_PROBE);
    long long ns = -1;
    if (std::sscanf(out.c_str(), "%lld", &ns) != 1 || ns < 0) {
      state.SkipWithError("load_probe failed");
      return;
    }
    state.SetIterationTime(double(ns) * 1e-9);
  }
}
BENCHMARK(BM_LoadOrvTypes)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(50);

// Reports counters only; its time is the probe's whole run and means nothing.
void BM_RegistrationAllocations(benchmark::State& state) {
  unsigned long long allocations = 0, inRegistration = 0, modules = 0, types = 0;
  for (auto _ : state) {
    const std::string out = probeOutput(VEM_REGISTRATION_PROBE);
    if (std::sscanf(out.c_str(), "%llu %llu %llu %llu", &allocations, &inRegistration, &modules, &types) != 4 ||
        types == 0) {
      state.SkipWithError("registration_probe failed or registered no types");
      return;
    }
  }
  state.counters["allocations"] = static_cast<double>(allocations);
  state.counters["in_registration"] = static_cast<double>(inRegistration);
  state.counters["modules"] = static_cast<double>(modules);
  state.counters["types"] = static_cast<double>(types);
  state.counters["registration_allocations_per_type"] =
      static_cast<double>(inRegistration) / static_cast<double>(types);
}
BENCHMARK(BM_RegistrationAllocations)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
