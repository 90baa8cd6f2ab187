// Byte layouts of the device-management library's records, as the simulator
// keeps them: each record is held as its raw little-endian bytes, and a
// layout table names its fields so that scenarios can set them from JSON and
// the state can be dumped back. Offsets are those of the library's wire
// format, independent of any C++ declaration of the records.
#ifndef IZKSIM_LAYOUT_HPP
#define IZKSIM_LAYOUT_HPP

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace izksim {

using json = nlohmann::json;
using Bytes = std::vector<uint8_t>;

// A scenario load error; what() is the text izksim_last_error reports.
struct LoadError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

enum class Kind {
  U8,
  U16,
  U32,
  U64,
  Text,    // fixed-width byte text, NUL padded; may fill the field without NUL
  Hex,     // fixed-width bytes given as hex ("00c0dd", "00:c0:dd" or "00-c0-dd")
  IpAddr,  // ISCSIIPADDR: {"address": "10.0.0.1" | "fe80::1", "type": n} or the address text alone
  Record,  // an embedded record with a layout of its own
};

struct Layout;

struct Field {
  const char* key;
  uint32_t offset;
  Kind kind;
  uint32_t size;               // bytes (Text/Hex/Record); ignored for integers and IpAddr
  const Layout* sub = nullptr;  // Record only
};

struct Layout {
  const char* name;
  uint32_t size;
  std::vector<Field> fields;
};

// Little-endian access to a record's bytes (offsets are checked by the callers'
// layouts; these helpers never go past the vector).
uint64_t get_le(const Bytes& b, size_t offset, size_t width);
void put_le(Bytes& b, size_t offset, size_t width, uint64_t value);
void put_text(Bytes& b, size_t offset, size_t width, const std::string& text);
std::string get_text(const Bytes& b, size_t offset, size_t width);

// Integer from JSON: a number or a string in decimal or 0x-hex. `max` bounds it.
uint64_t json_uint(const json& j, const std::string& path, uint64_t max);
int64_t json_int(const json& j, const std::string& path, int64_t min, int64_t max);
bool json_bool(const json& j, const std::string& path);
std::string json_string(const json& j, const std::string& path);
// Bytes from a hex string (separators ':', '-', ' ' allowed between bytes).
Bytes parse_hex(const std::string& text, const std::string& path);
std::string to_hex(const uint8_t* data, size_t size);
// Parses an IPv4 or IPv6 address text into 16 bytes (IPv4 fills the first 4).
bool parse_ip(const std::string& text, uint8_t out[16], bool* is_v6);
std::string format_ip(const uint8_t addr[16], bool v6);

// Applies a JSON object to the record bytes: "raw" (hex, the whole record or
// its start) first, then every other key through the layout. Unknown keys,
// wrong types and values that do not fit raise LoadError naming the path.
void load_record(const json& j, const Layout& layout, Bytes& bytes, size_t base, const std::string& path);
// The fields of a record as a JSON object (embedded records nested).
json dump_record(const Layout& layout, const Bytes& bytes, size_t base);

// Keys starting with "//" are comments and are ignored everywhere.
bool is_comment_key(const std::string& key);
// Rejects keys of `j` (an object) that are not in `allowed`.
void check_keys(const json& j, const std::string& path, std::initializer_list<const char*> allowed);
void require_object(const json& j, const std::string& path);
void require_array(const json& j, const std::string& path);

// The record layouts the simulator knows.
namespace layouts {
extern const Layout kHbaIscsiPortal;    // 720
extern const Layout kNodeInfoIscsi;     // 320
extern const Layout kHbaIscsiNode;      // 452
extern const Layout kDriverInfo;        // 200
extern const Layout kChipInfo;          // 122
extern const Layout kIscsiDevice;       // 64
extern const Layout kDeviceEntryIscsi;  // 484
extern const Layout kDns;               // 152
extern const Layout kInitFwIscsi;       // 782
extern const Layout kTargetInformation; // 136
extern const Layout kDiscIscsiPortal;   // 292
extern const Layout kDiscIscsiNode;     // 468
extern const Layout kSdmBootcode;       // 28
}  // namespace layouts

}  // namespace izksim

#endif  // IZKSIM_LAYOUT_HPP
