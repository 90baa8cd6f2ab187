#include "layout.hpp"

#include <arpa/inet.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace izksim {

uint64_t get_le(const Bytes& b, size_t offset, size_t width) {
  uint64_t v = 0;
  for (size_t i = 0; i < width && offset + i < b.size(); ++i) v |= uint64_t(b[offset + i]) << (8 * i);
  return v;
}

void put_le(Bytes& b, size_t offset, size_t width, uint64_t value) {
  for (size_t i = 0; i < width && offset + i < b.size(); ++i) b[offset + i] = uint8_t(value >> (8 * i));
}

void put_text(Bytes& b, size_t offset, size_t width, const std::string& text) {
  for (size_t i = 0; i < width && offset + i < b.size(); ++i) b[offset + i] = i < text.size() ? uint8_t(text[i]) : 0;
}

std::string get_text(const Bytes& b, size_t offset, size_t width) {
  std::string s;
  for (size_t i = 0; i < width && offset + i < b.size() && b[offset + i] != 0; ++i) s.push_back(char(b[offset + i]));
  return s;
}

static std::string type_name(const json& j) { return j.type_name(); }

uint64_t json_uint(const json& j, const std::string& path, uint64_t max) {
  uint64_t v = 0;
  if (j.is_number_unsigned()) {
    v = j.get<uint64_t>();
  } else if (j.is_number_integer()) {
    if (j.get<int64_t>() < 0) throw LoadError(path + ": negative value " + j.dump() + " not allowed");
    v = uint64_t(j.get<int64_t>());
  } else if (j.is_string()) {
    const std::string s = j.get<std::string>();
    errno = 0;
    char* end = nullptr;
    const bool hex = s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    if (s.empty() || s[0] == '-' || s[0] == '+' || s[0] == ' ') throw LoadError(path + ": \"" + s + "\" is not a number");
    v = std::strtoull(s.c_str(), &end, hex ? 16 : 10);
    if (errno != 0 || end == s.c_str() || *end != '\0') throw LoadError(path + ": \"" + s + "\" is not a number");
  } else {
    throw LoadError(path + ": expected a number, found " + type_name(j));
  }
  if (v > max) throw LoadError(path + ": value " + std::to_string(v) + " does not fit (maximum " + std::to_string(max) + ")");
  return v;
}

int64_t json_int(const json& j, const std::string& path, int64_t min, int64_t max) {
  int64_t v = 0;
  if (j.is_number_integer()) {
    if (j.is_number_unsigned() && j.get<uint64_t>() > uint64_t(INT64_MAX))
      throw LoadError(path + ": value out of range");
    v = j.get<int64_t>();
  } else if (j.is_string()) {
    const std::string s = j.get<std::string>();
    if (!s.empty() && s[0] == '-') {
      v = -int64_t(json_uint(json(s.substr(1)), path, uint64_t(INT64_MAX)));
    } else {
      v = int64_t(json_uint(j, path, uint64_t(INT64_MAX)));
    }
  } else {
    throw LoadError(path + ": expected a number, found " + type_name(j));
  }
  if (v < min || v > max)
    throw LoadError(path + ": value " + std::to_string(v) + " out of range " + std::to_string(min) + ".." + std::to_string(max));
  return v;
}

bool json_bool(const json& j, const std::string& path) {
  if (!j.is_boolean()) throw LoadError(path + ": expected true or false, found " + type_name(j));
  return j.get<bool>();
}

std::string json_string(const json& j, const std::string& path) {
  if (!j.is_string()) throw LoadError(path + ": expected a string, found " + type_name(j));
  return j.get<std::string>();
}

static int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

Bytes parse_hex(const std::string& text, const std::string& path) {
  Bytes out;
  size_t i = 0;
  while (i < text.size()) {
    const char c = text[i];
    if (c == ':' || c == '-' || c == ' ') {
      ++i;
      continue;
    }
    if (i + 1 >= text.size() || hex_digit(c) < 0 || hex_digit(text[i + 1]) < 0)
      throw LoadError(path + ": \"" + text + "\" is not hex bytes");
    out.push_back(uint8_t(hex_digit(c) * 16 + hex_digit(text[i + 1])));
    i += 2;
  }
  return out;
}

std::string to_hex(const uint8_t* data, size_t size) {
  static const char digits[] = "0123456789abcdef";
  std::string s;
  s.reserve(size * 2);
  for (size_t i = 0; i < size; ++i) {
    s.push_back(digits[data[i] >> 4]);
    s.push_back(digits[data[i] & 15]);
  }
  return s;
}

bool parse_ip(const std::string& text, uint8_t out[16], bool* is_v6) {
  std::memset(out, 0, 16);
  in_addr a4{};
  if (inet_pton(AF_INET, text.c_str(), &a4) == 1) {
    std::memcpy(out, &a4, 4);
    if (is_v6) *is_v6 = false;
    return true;
  }
  in6_addr a6{};
  if (inet_pton(AF_INET6, text.c_str(), &a6) == 1) {
    std::memcpy(out, &a6, 16);
    if (is_v6) *is_v6 = true;
    return true;
  }
  return false;
}

std::string format_ip(const uint8_t addr[16], bool v6) {
  char buf[INET6_ADDRSTRLEN] = {0};
  if (v6) {
    in6_addr a6{};
    std::memcpy(&a6, addr, 16);
    inet_ntop(AF_INET6, &a6, buf, sizeof buf);
  } else {
    in_addr a4{};
    std::memcpy(&a4, addr, 4);
    inet_ntop(AF_INET, &a4, buf, sizeof buf);
  }
  return buf;
}

bool is_comment_key(const std::string& key) { return key.compare(0, 2, "//") == 0; }

void require_object(const json& j, const std::string& path) {
  if (!j.is_object()) throw LoadError(path + ": expected an object, found " + type_name(j));
}

void require_array(const json& j, const std::string& path) {
  if (!j.is_array()) throw LoadError(path + ": expected an array, found " + type_name(j));
}

void check_keys(const json& j, const std::string& path, std::initializer_list<const char*> allowed) {
  require_object(j, path);
  for (auto it = j.begin(); it != j.end(); ++it) {
    if (is_comment_key(it.key())) continue;
    bool ok = false;
    for (const char* a : allowed) ok = ok || it.key() == a;
    if (!ok) throw LoadError("unknown key \"" + it.key() + "\" in " + path);
  }
}

static void load_ip(const json& j, Bytes& bytes, size_t base, const std::string& path) {
  auto set_address = [&](const json& a, const std::string& p) {
    uint8_t addr[16];
    const std::string text = json_string(a, p);
    if (!parse_ip(text, addr, nullptr)) throw LoadError(p + ": \"" + text + "\" is not an IP address");
    for (size_t i = 0; i < 16; ++i) bytes[base + i] = addr[i];
  };
  if (j.is_string()) {
    set_address(j, path);
    return;
  }
  check_keys(j, path, {"address", "type", "raw"});
  if (j.contains("raw")) {
    const Bytes raw = parse_hex(json_string(j["raw"], path + ".raw"), path + ".raw");
    if (raw.size() > 20) throw LoadError(path + ".raw: " + std::to_string(raw.size()) + " bytes do not fit in 20");
    for (size_t i = 0; i < raw.size(); ++i) bytes[base + i] = raw[i];
  }
  if (j.contains("address")) set_address(j["address"], path + ".address");
  if (j.contains("type")) put_le(bytes, base + 16, 2, json_uint(j["type"], path + ".type", 0xFFFF));
}

void load_record(const json& j, const Layout& layout, Bytes& bytes, size_t base, const std::string& path) {
  require_object(j, path);
  if (base + layout.size > bytes.size()) throw LoadError(path + ": internal layout error");
  if (j.contains("raw")) {
    const Bytes raw = parse_hex(json_string(j["raw"], path + ".raw"), path + ".raw");
    if (raw.size() > layout.size)
      throw LoadError(path + ".raw: " + std::to_string(raw.size()) + " bytes do not fit in " + std::to_string(layout.size));
    for (size_t i = 0; i < raw.size(); ++i) bytes[base + i] = raw[i];
  }
  for (auto it = j.begin(); it != j.end(); ++it) {
    if (it.key() == "raw" || is_comment_key(it.key())) continue;
    const Field* f = nullptr;
    for (const Field& cand : layout.fields)
      if (it.key() == cand.key) f = &cand;
    if (!f) throw LoadError("unknown key \"" + it.key() + "\" in " + path);
    const std::string p = path + "." + it.key();
    const size_t at = base + f->offset;
    switch (f->kind) {
      case Kind::U8: put_le(bytes, at, 1, json_uint(*it, p, 0xFF)); break;
      case Kind::U16: put_le(bytes, at, 2, json_uint(*it, p, 0xFFFF)); break;
      case Kind::U32: put_le(bytes, at, 4, json_uint(*it, p, 0xFFFFFFFFu)); break;
      case Kind::U64: put_le(bytes, at, 8, json_uint(*it, p, UINT64_MAX)); break;
      case Kind::Text: {
        if (it->is_object()) {  // {"raw": hex}: text with bytes that are not printable
          check_keys(*it, p, {"raw"});
          const Bytes h = parse_hex(json_string(it->value("raw", json("")), p + ".raw"), p + ".raw");
          if (h.size() > f->size)
            throw LoadError(p + ": " + std::to_string(h.size()) + " bytes do not fit in " + std::to_string(f->size));
          for (size_t i = 0; i < f->size; ++i) bytes[at + i] = i < h.size() ? h[i] : 0;
          break;
        }
        const std::string s = json_string(*it, p);
        if (s.size() > f->size)
          throw LoadError(p + ": text of " + std::to_string(s.size()) + " bytes does not fit in " + std::to_string(f->size));
        put_text(bytes, at, f->size, s);
        break;
      }
      case Kind::Hex: {
        const Bytes h = parse_hex(json_string(*it, p), p);
        if (h.size() > f->size)
          throw LoadError(p + ": " + std::to_string(h.size()) + " bytes do not fit in " + std::to_string(f->size));
        for (size_t i = 0; i < f->size; ++i) bytes[at + i] = i < h.size() ? h[i] : 0;
        break;
      }
      case Kind::IpAddr: load_ip(*it, bytes, at, p); break;
      case Kind::Record: load_record(*it, *f->sub, bytes, at, p); break;
    }
  }
}

json dump_record(const Layout& layout, const Bytes& bytes, size_t base) {
  json out = json::object();
  for (const Field& f : layout.fields) {
    const size_t at = base + f.offset;
    switch (f.kind) {
      case Kind::U8: out[f.key] = get_le(bytes, at, 1); break;
      case Kind::U16: out[f.key] = get_le(bytes, at, 2); break;
      case Kind::U32: out[f.key] = get_le(bytes, at, 4); break;
      case Kind::U64: out[f.key] = get_le(bytes, at, 8); break;
      case Kind::Text: {
        // Bytes outside ASCII are shown as hex so the dump stays valid JSON.
        std::string s = get_text(bytes, at, f.size);
        bool ascii = true;
        for (char c : s) ascii = ascii && (unsigned char)c >= 0x20 && (unsigned char)c < 0x7F;
        out[f.key] = ascii ? json(s) : json({{"raw", to_hex(bytes.data() + at, f.size)}});
        break;
      }
      case Kind::Hex: out[f.key] = to_hex(bytes.data() + at, f.size); break;
      case Kind::IpAddr: {
        const uint16_t type = uint16_t(get_le(bytes, at + 16, 2));
        bool v6 = false;
        for (size_t i = 4; i < 16; ++i) v6 = v6 || bytes[at + i] != 0;
        out[f.key] = {{"address", format_ip(bytes.data() + at, v6)}, {"type", type}};
        break;
      }
      case Kind::Record: out[f.key] = dump_record(*f.sub, bytes, at); break;
    }
  }
  return out;
}

namespace layouts {

const Layout kHbaIscsiPortal{"HBAISCSIPORTAL",
                             720,
                             {
                                 {"ipAddress", 0, Kind::IpAddr, 20},
                                 {"serialNumber", 20, Kind::Text, 16},
                                 {"macAddress", 36, Kind::Hex, 6},
                                 {"manufacturer", 42, Kind::Text, 128},
                                 {"model", 170, Kind::Text, 128},
                                 {"driverVersion", 298, Kind::Text, 128},
                                 {"firmwareVersion", 426, Kind::Text, 128},
                                 {"optionRomVersion", 554, Kind::Text, 128},
                                 {"state", 682, Kind::U16, 2},
                                 {"type", 684, Kind::U16, 2},
                                 {"discTargetCount", 686, Kind::U16, 2},
                                 {"driverAttributes", 688, Kind::U32, 4},
                                 {"firmwareAttributes", 692, Kind::U32, 4},
                                 {"iscsiVersion", 696, Kind::Text, 4},
                                 {"dhcpState", 700, Kind::U16, 2},
                                 {"linkStatus", 702, Kind::U16, 2},
                                 {"flowControlDuplexLinkSpeed", 704, Kind::U16, 2},
                             }};

const Layout kNodeInfoIscsi{"NODEINFOISCSI",
                            320,
                            {
                                {"ipAddress", 0, Kind::IpAddr, 20},
                                {"iscsiName", 20, Kind::Text, 256},
                                {"alias", 276, Kind::Text, 32},
                                {"portalCount", 308, Kind::U16, 2},
                            }};

const Layout kHbaIscsiNode{"HBAISCSINODE",
                           452,
                           {
                               {"deviceName", 0, Kind::Text, 128},
                               {"portNumber", 128, Kind::U16, 2},
                               {"nodeInfo", 130, Kind::Record, 320, &kNodeInfoIscsi},
                           }};

const Layout kDriverInfo{"DRIVERINFO",
                         200,
                         {
                             {"version", 0, Kind::Text, 128},
                             {"numberOfBus", 128, Kind::U16, 2},
                             {"targetsPerBus", 130, Kind::U16, 2},
                             {"lunsPerTarget", 132, Kind::U16, 2},
                             {"lunsPerTargetOS", 134, Kind::U16, 2},
                             {"maximumTransferLength", 136, Kind::U32, 4},
                             {"maximumDataSegments", 140, Kind::U32, 4},
                             {"dmaBitAddresses", 144, Kind::U16, 2},
                             {"ioMapType", 146, Kind::U16, 2},
                             {"attributes", 148, Kind::U32, 4},
                             {"internalFlags", 152, Kind::Hex, 16},
                         }};

const Layout kChipInfo{"CHIPINFO",
                       122,
                       {
                           {"vendorId", 0, Kind::U16, 2},
                           {"deviceId", 2, Kind::U16, 2},
                           {"subVendorId", 4, Kind::U16, 2},
                           {"subSystemId", 6, Kind::U16, 2},
                           {"boardType", 8, Kind::Text, 64},
                           {"chipVersion", 72, Kind::U16, 2},
                           {"boardId", 74, Kind::U16, 2},
                           {"chipModel", 76, Kind::Text, 6},
                           {"ipSecConfig", 82, Kind::Hex, 2},
                       }};

const Layout kIscsiDevice{"ISCSIDEVICE",
                          64,
                          {
                              {"deviceType", 0, Kind::U16, 2},
                              {"executionThrottle", 2, Kind::U16, 2},
                              {"txTcpWindowScale", 4, Kind::U8, 1},
                              {"rxTcpWindowScale", 5, Kind::U8, 1},
                              {"retryCount", 6, Kind::U8, 1},
                              {"retryDelay", 7, Kind::U8, 1},
                              {"iscsiOptions", 8, Kind::U16, 2},
                              {"tcpOptions", 10, Kind::U16, 2},
                              {"ipOptions", 12, Kind::U16, 2},
                              {"maxRxDataSegmentLength", 14, Kind::U16, 2},
                              {"firstBurstSize", 16, Kind::U16, 2},
                              {"defaultTime2Wait", 18, Kind::U16, 2},
                              {"defaultTime2Retain", 20, Kind::U16, 2},
                              {"maxOutstandingR2T", 22, Kind::U16, 2},
                              {"keepAliveTimeout", 24, Kind::U16, 2},
                              {"portNumber", 26, Kind::U16, 2},
                              {"maxBurstSize", 28, Kind::U16, 2},
                              {"taskManagementTimeout", 30, Kind::U16, 2},
                              {"targetAddress", 32, Kind::Text, 32},
                          }};

const Layout kDeviceEntryIscsi{"DEVICEENTRYISCSI",
                               484,
                               {
                                   {"options", 0, Kind::U8, 1},
                                   {"control", 1, Kind::U8, 1},
                                   {"exeCount", 2, Kind::U16, 2},
                                   {"targetSessionId", 4, Kind::U16, 2},
                                   {"initiatorSessionId", 6, Kind::Hex, 6},
                                   {"reserved0", 12, Kind::Hex, 63},
                                   {"setDdbRamOnlyFlag", 75, Kind::U8, 1},
                                   {"deviceInfo", 76, Kind::Record, 64, &kIscsiDevice},
                                   {"entryInfo", 140, Kind::Record, 320, &kNodeInfoIscsi},
                                   {"targetId", 460, Kind::U32, 4},
                                   {"deviceState", 464, Kind::U32, 4},
                                   {"reservedFlags", 468, Kind::U32, 4},
                                   // NextValid (472) is computed from the database, see the DDB loader.
                                   {"ddbLink", 476, Kind::U16, 2},
                                   {"chapTableIndex", 478, Kind::U16, 2},
                                   {"maxTxDataSegmentLength", 480, Kind::U16, 2},
                                   {"targetPortalGroupId", 482, Kind::U16, 2},
                               }};

const Layout kDns{"DNS", 152, {{"ipAddress", 0, Kind::IpAddr, 20}, {"reserved", 20, Kind::Hex, 132}}};

const Layout kInitFwIscsi{"INITFWISCSI",
                          782,
                          {
                              {"reserved1", 0, Kind::U8, 1},
                              {"version", 1, Kind::U8, 1},
                              {"fwOptions", 2, Kind::U16, 2},
                              {"addFwOptions", 4, Kind::U16, 2},
                              {"wakeupThreshold", 6, Kind::U16, 2},
                              {"ipAddress", 8, Kind::IpAddr, 20},
                              {"secondaryIpAddress", 28, Kind::IpAddr, 20},
                              {"subnetMask", 48, Kind::IpAddr, 20},
                              {"gateway", 68, Kind::IpAddr, 20},
                              {"primaryDns", 88, Kind::Record, 152, &kDns},
                              {"secondaryDns", 240, Kind::Record, 152, &kDns},
                              {"slpDaAddress", 392, Kind::IpAddr, 20},
                              {"alias", 412, Kind::Text, 32},
                              {"iscsiName", 444, Kind::Text, 256},
                              {"deviceInfo", 700, Kind::Record, 64, &kIscsiDevice},
                              {"ethernetMtu", 764, Kind::U16, 2},
                              {"tci", 766, Kind::U16, 2},
                              {"zio", 768, Kind::U8, 1},
                              {"tcpWindowScaleFactor", 769, Kind::U8, 1},
                              {"taskManagementTimeout", 770, Kind::U16, 2},
                              {"reserved", 772, Kind::Hex, 10},
                          }};

const Layout kTargetInformation{"TARGETINFORMATION",
                                136,
                                {
                                    {"busNumber", 0, Kind::U16, 2},
                                    {"targetId", 2, Kind::U16, 2},
                                    {"lun", 4, Kind::U16, 2},
                                    {"targetState", 6, Kind::U16, 2},
                                    {"supportsTest", 8, Kind::U8, 1},
                                    {"reserved1", 9, Kind::U8, 1},
                                }};

const Layout kDiscIscsiPortal{"DISCISCSIPORTAL",
                              292,
                              {
                                  {"ipAddress", 0, Kind::IpAddr, 20},
                                  {"nodeCount", 20, Kind::U16, 2},
                                  {"hostName", 22, Kind::Text, 128},
                                  {"portNumber", 150, Kind::U16, 2},
                                  {"targetInfo", 152, Kind::Record, 136, &kTargetInformation},
                              }};

const Layout kDiscIscsiNode{"DISCISCSINODE",
                            468,
                            {
                                {"sessionId", 0, Kind::U16, 2},
                                {"connectionId", 2, Kind::U16, 2},
                                {"portalGroupId", 4, Kind::U16, 2},
                                {"nodeInfo", 6, Kind::Record, 320, &kNodeInfoIscsi},
                                {"targetInfo", 328, Kind::Record, 136, &kTargetInformation},
                            }};

const Layout kSdmBootcode{"SDMBOOTCODE",
                          28,
                          {
                              // Bit 3: boot code enabled; bit 1: disabled; bit 0: spin-up delay.
                              {"flags", 0, Kind::U16, 2},
                              // Target ids: bits 0-6 the device database index, bit 7 valid.
                              {"primaryId", 2, Kind::U8, 1},
                              {"primaryLun", 4, Kind::U64, 8},
                              {"secondaryId", 12, Kind::U8, 1},
                              {"secondaryLun", 16, Kind::U64, 8},
                              {"majorVersion", 24, Kind::U8, 1},
                              {"minorVersion", 25, Kind::U8, 1},
                              {"bootcodeValid", 26, Kind::U8, 1},
                          }};

}  // namespace layouts

}  // namespace izksim
