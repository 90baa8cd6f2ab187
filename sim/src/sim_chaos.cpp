// Chaos mode: random failures and random record contents, for fuzzing the
// product against an adapter library that misbehaves in every way it may.
//
// When switched on (izksim_set_chaos), every SD call that has no fault set
// for it fails, with the given probability, with a status drawn from the
// library's own statuses and arbitrary values; and every record a successful
// call hands back is, with the given probability, damaged after the call has
// filled it: filled with 0xFF (texts without a terminator, counts and lengths
// at their maximum), filled with random bytes, or given a few huge 16- and
// 32-bit values at random places (counts larger than their buffers, lengths
// past their fields). The draws come from one generator seeded by the caller,
// so a single-threaded run repeats exactly.
//
// Only records of functions that answer something (SDGet..., SDSend...,
// SDDiag..., SDPerform...) are damaged; records the product hands to the
// library to be written stay as they are.
#include <cstring>
#include <random>

#include "sim.hpp"

namespace izksim {

namespace {

struct Chaos {
  bool on = false;
  uint32_t faultPerMille = 0;
  uint32_t garblePerMille = 0;
  std::mt19937_64 rng;
};

Chaos& chaos() {
  static Chaos* c = new Chaos();  // never destroyed, like the simulator itself
  return *c;
}

const uint32_t kChaosStatuses[] = {
    IZKSIM_ST_INVALID_HANDLE,     IZKSIM_ST_NO_SUCH_INSTANCE, IZKSIM_ST_INVALID_PARAMETER,
    IZKSIM_ST_TARGET_NOT_FOUND,   IZKSIM_ST_LUN_NOT_FOUND,    IZKSIM_ST_FILE_ERROR,
    IZKSIM_ST_ENTRY_NOT_FOUND,    IZKSIM_ST_AEN_NOT_ENABLED,  IZKSIM_ST_TARGET_NOT_ACTIVE,
    IZKSIM_ST_NOT_SUPPORTED_OS,   IZKSIM_ST_OUT_OF_MEMORY,    IZKSIM_ST_NOT_SUPPORTED,
    IZKSIM_ST_CHECK_CONDITION,    IZKSIM_ST_BUFFER_TOO_SMALL, IZKSIM_ST_DATA_UNDERRUN,
    IZKSIM_ST_MORE_DATA,          IZKSIM_ST_BOOTCODE_ERASE_NEEDED, 0x20000075u,
    0xFFFFFFFFu,                  0x80000000u,                1u,
};

bool answers(const char* fn) {
  for (const char* prefix : {"SDGet", "SDSend", "SDDiag", "SDPerform"})
    if (std::strncmp(fn, prefix, std::strlen(prefix)) == 0) return true;
  return false;
}

bool draw(Chaos& c, uint32_t perMille) { return perMille > 0 && c.rng() % 1000 < perMille; }

void put_le(uint8_t* p, size_t size, size_t at, uint64_t value, size_t width) {
  for (size_t i = 0; i < width && at + i < size; ++i) p[at + i] = uint8_t(value >> (8 * i));
}

}  // namespace

void chaos_clear() { chaos() = Chaos(); }

bool chaos_fault(const char* fn, uint32_t& status) {
  Chaos& c = chaos();
  if (!c.on || std::strcmp(fn, "SDGetErrorStringiSCSI") == 0 || !draw(c, c.faultPerMille)) return false;
  const size_t n = sizeof kChaosStatuses / sizeof kChaosStatuses[0];
  const uint64_t pick = c.rng() % (n + 2);
  status = pick < n ? kChaosStatuses[pick] : uint32_t(c.rng() | 1u);
  return true;
}

void chaos_garble(const char* fn, void* data, size_t size) {
  Chaos& c = chaos();
  if (!c.on || !data || size == 0 || !answers(fn) || !draw(c, c.garblePerMille)) return;
  uint8_t* p = static_cast<uint8_t*>(data);
  switch (c.rng() % 4) {
    case 0:
      std::memset(p, 0xFF, size);
      break;
    case 1:
      for (size_t i = 0; i < size; ++i) p[i] = uint8_t(c.rng());
      break;
    case 2:  // texts without terminators: printable bytes over a stretch
    {
      const size_t at = c.rng() % size;
      const size_t len = 1 + c.rng() % (size - at);
      for (size_t i = 0; i < len; ++i) p[at + i] = uint8_t('A' + c.rng() % 26);
      break;
    }
    default:  // counts and lengths past their buffers
    {
      const uint64_t big[] = {0xFFFFFFFFu, 0x7FFFFFFFu, 0xFFFFu, 0x8000u, 0x10000u, size, size + 1, 4096, 257};
      const int n = 1 + int(c.rng() % 8);
      for (int k = 0; k < n; ++k) {
        const size_t at = size > 1 ? (c.rng() % size) & ~size_t(1) : 0;
        put_le(p, size, at, big[c.rng() % (sizeof big / sizeof big[0])], c.rng() % 2 ? 4 : 2);
      }
      break;
    }
  }
}

}  // namespace izksim

extern "C" {

IZKSIM_EXPORT void izksim_set_chaos(uint64_t seed, uint32_t fault_per_mille, uint32_t garble_per_mille) {
  izksim::Sim& sim = izksim::Sim::get();
  std::lock_guard<std::mutex> lock(sim.mu);
  sim.ensure_loaded();
  izksim::Chaos& c = izksim::chaos();
  c.on = fault_per_mille > 0 || garble_per_mille > 0;
  c.faultPerMille = fault_per_mille > 1000 ? 1000 : fault_per_mille;
  c.garblePerMille = garble_per_mille > 1000 ? 1000 : garble_per_mille;
  c.rng.seed(seed);
}

}  // extern "C"
