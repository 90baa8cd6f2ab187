// The adapter's IPsec engine as the simulator keeps it: the 64-slot security
// policy table, the version texts, the engine-wide counters and the live
// security associations.
#ifndef IZKSIM_SECURITY_HPP
#define IZKSIM_SECURITY_HPP

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "layout.hpp"

namespace izksim {

constexpr size_t kPolicySlots = 64;
constexpr size_t kPolicySize = 800;     // SECURITYPOLICY
constexpr size_t kTransformSize = 24;   // SECTRANSFORM
constexpr size_t kTransformsMax = 16;
constexpr size_t kSecInfoSize = 132;    // SECINFO
constexpr size_t kSecStatsSize = 160;   // HBASECURITYSTATS
constexpr size_t kIkeSaSize = 80;       // IKESA
constexpr size_t kIpsecSaSize = 128;    // IPSECSA
constexpr size_t kIkeSaMax = 200;       // what a reader's array holds

// SECURITYPOLICY offsets the simulator itself works with.
constexpr size_t kPolicyKind = 0;
constexpr size_t kPolicyPriority = 4;
// Priority of the owning policy inside IKESA and IPSECSA.
constexpr size_t kIkeSaPriority = 76;
constexpr size_t kIpsecSaPriority = 124;

struct SecurityState {
  // Slot i of the table: 800 bytes; PolicyKind 0 is an unused slot.
  std::vector<Bytes> policies = std::vector<Bytes>(kPolicySlots, Bytes(kPolicySize, 0));
  // What a table read reports as the number of policies in use, when the
  // scenario pins it; otherwise the slots with PolicyKind != 0 are counted.
  std::optional<uint32_t> reportedCount;
  Bytes info = Bytes(kSecInfoSize, 0);
  Bytes stats = Bytes(kSecStatsSize, 0);
  std::vector<Bytes> ikeSAs;    // in the order the library reports them
  std::vector<Bytes> ipsecSAs;  // each carries its policy's priority

  uint32_t policies_in_use() const;
  // Drops the SAs of the policy with this priority; 0 drops every SA.
  void flush(uint32_t priority);
};

// The scenario keys of an adapter that this file reads.
bool is_security_key(const std::string& key);
// Reads an adapter's security sections; throws LoadError.
void load_security(const json& adapter, const std::string& path, SecurityState& s);
// Writes them back in the same schema.
void dump_security(const SecurityState& s, json& adapter);

}  // namespace izksim

#endif  // IZKSIM_SECURITY_HPP
