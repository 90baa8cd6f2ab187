// Cost of one SD call through the recording proxy: the same calls straight
// to a library that answers at once, then through the proxy in front of it.
//   recorder_bench [CALLS [LIBRARY]]   (build/bin; not a test: prints nanoseconds per call)
// LIBRARY is another library to put behind the proxy, e.g. build/lib/libizksdm.so (the simulator).
#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "sdm/sdm_api.h"

namespace {

struct Calls {
  decltype(&::SDOpenDeviceiSCSI) open;
  decltype(&::SDGetHbaDeviceNodePropertyiSCSI) node;
  decltype(&::SDGetDDBEntry) entry;
  decltype(&::SDGetTCPMaxWindowSize) window;
};

Calls resolve(const char* path) {
  void* lib = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!lib) {
    std::fprintf(stderr, "recorder_bench: %s\n", dlerror());
    std::exit(2);
  }
  Calls c;
  c.open = reinterpret_cast<decltype(c.open)>(dlsym(lib, "SDOpenDeviceiSCSI"));
  c.node = reinterpret_cast<decltype(c.node)>(dlsym(lib, "SDGetHbaDeviceNodePropertyiSCSI"));
  c.entry = reinterpret_cast<decltype(c.entry)>(dlsym(lib, "SDGetDDBEntry"));
  c.window = reinterpret_cast<decltype(c.window)>(dlsym(lib, "SDGetTCPMaxWindowSize"));
  return c;
}

template <class F>
double ns_per_call(long calls, F f) {
  for (long i = 0; i < calls / 10; ++i) f(i);  // warm-up
  double best = 1e30;
  for (int round = 0; round < 5; ++round) {
    const auto start = std::chrono::steady_clock::now();
    for (long i = 0; i < calls; ++i) f(i);
    const double ns = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
    if (ns / calls < best) best = ns / calls;
  }
  return best;
}

void run(const char* label, const Calls& c, long calls) {
  SDMGT_HANDLE h = 0;
  c.open(0, &h);
  HBAISCSINODE node;
  DEVICEENTRYISCSI entry;
  uint16_t window = 0;
  const double n = ns_per_call(calls, [&](long) { c.node(h, &node); });
  const double e = ns_per_call(calls, [&](long i) { c.entry(h, &entry, uint32_t(i & 511)); });
  const double w = ns_per_call(calls, [&](long) { c.window(h, &window); });
  std::printf("%-28s node property (452 B) %7.1f ns   device database entry (484 B) %7.1f ns   window size %7.1f ns\n",
              label, n, e, w);
}

}  // namespace

int main(int argc, char** argv) {
  const long calls = argc > 1 ? std::atol(argv[1]) : 1000000;
  const std::string backend = argc > 2 ? argv[2] : RECORDER_BENCH_BACKEND;
  run("straight to the library:", resolve(backend.c_str()), calls);
  setenv("IZKSDM_RECORD_LIBRARY", backend.c_str(), 1);
  setenv("IZKSDM_RECORD_FILE", "/dev/null", 1);
  run("through the recorder:", resolve(RECORDER_BENCH_PROXY), calls);
  return 0;
}
