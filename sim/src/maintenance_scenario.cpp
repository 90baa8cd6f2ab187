// Scenario sections of the boot code's DHCP options, the VPD image and the
// flash: loaded from an adapter's JSON and dumped back in the same form.
#include <algorithm>
#include <cstring>

#include "state.hpp"

namespace izksim {

namespace {

constexpr size_t kDhcpSize = 62;
constexpr size_t kVpdSize = 128;

const Layout kBootcodeDhcp{"BOOTCODEDHCP",
                           kDhcpSize,
                           {
                               {"vendorId", 0, Kind::Text, 12},
                               {"altClientId", 16, Kind::Text, 12},
                               {"vendorIdLength", 32, Kind::U8, 1},
                               // 0x0700: require the vendor id and learn the IQN through DHCP.
                               {"useRequireVidLearnIqn", 34, Kind::U16, 2},
                               {"altClientIdLength", 36, Kind::U8, 1},
                           }};

// The VPD image of the simulated adapters is a PCI VPD image in one fixed
// order: the identifier string, then the read-only keyword block with these
// keywords (2-byte name, 1-byte length, data), a checksum keyword and the end
// tag. Each keyword takes exactly the length of its text, as on a real
// adapter, so a text shorter than usual moves everything after it.
struct VpdKeyword {
  const char* key;   // scenario key
  const char* name;  // keyword name in the image
};
constexpr VpdKeyword kVpdKeywords[] = {
    {"partNumber", "PN"}, {"ecLevel", "EC"}, {"manufactureId", "MN"},
    {"fruNumber", "FN"},  {"ccin", "CC"},    {"brand", "BR"},
};
constexpr uint8_t kTagIdentifier = 0x82;
constexpr uint8_t kTagReadOnly = 0x90;
constexpr uint8_t kTagEnd = 0x78;

void put_tag(Bytes& image, uint8_t tag, size_t length) {
  image.push_back(tag);
  image.push_back(uint8_t(length & 0xFF));
  image.push_back(uint8_t(length >> 8));
}

Bytes build_vpd(const json& j, const std::string& path) {
  Bytes image;
  const std::string description =
      j.contains("productDescription") ? json_string(j["productDescription"], path + ".productDescription") : "";
  put_tag(image, kTagIdentifier, description.size());
  image.insert(image.end(), description.begin(), description.end());

  const size_t readOnlyHeader = image.size();
  put_tag(image, kTagReadOnly, 0);  // length patched below
  for (const VpdKeyword& k : kVpdKeywords) {
    const std::string text = j.contains(k.key) ? json_string(j[k.key], path + "." + k.key) : "";
    if (text.size() > 0xFF) throw LoadError(path + "." + k.key + ": more than 255 bytes");
    image.push_back(uint8_t(k.name[0]));
    image.push_back(uint8_t(k.name[1]));
    image.push_back(uint8_t(text.size()));
    image.insert(image.end(), text.begin(), text.end());
  }
  // "RV": one checksum byte that makes the bytes up to it sum to zero. The
  // block's length (which the checksum covers) ends with that byte.
  image.push_back('R');
  image.push_back('V');
  image.push_back(1);
  const size_t readOnlyLength = image.size() + 1 - readOnlyHeader - 3;
  image[readOnlyHeader + 1] = uint8_t(readOnlyLength & 0xFF);
  image[readOnlyHeader + 2] = uint8_t(readOnlyLength >> 8);
  uint8_t sum = 0;
  for (uint8_t b : image) sum = uint8_t(sum + b);
  image.push_back(uint8_t(0x100 - sum));
  image.push_back(kTagEnd);
  if (image.size() > kVpdSize)
    throw LoadError(path + ": the VPD image takes " + std::to_string(image.size()) + " bytes, more than " +
                    std::to_string(kVpdSize));
  image.resize(kVpdSize, 0);
  return image;
}

Bytes load_vpd(const json& j, const std::string& path) {
  require_object(j, path);
  if (j.contains("raw")) {
    check_keys(j, path, {"raw"});
    Bytes image = parse_hex(json_string(j["raw"], path + ".raw"), path + ".raw");
    if (image.size() > kVpdSize)
      throw LoadError(path + ".raw: " + std::to_string(image.size()) + " bytes do not fit in " +
                      std::to_string(kVpdSize));
    image.resize(kVpdSize, 0);
    return image;
  }
  check_keys(j, path,
             {"productDescription", "partNumber", "ecLevel", "manufactureId", "fruNumber", "ccin", "brand"});
  return build_vpd(j, path);
}

}  // namespace

void load_maintenance_sections(const json& j, const std::string& path, Adapter& a) {
  a.bootcodeDhcp.assign(kDhcpSize, 0);
  a.vpd.assign(kVpdSize, 0);
  if (j.contains("bootcodeDhcp")) {
    const json& d = j["bootcodeDhcp"];
    const std::string p = path + ".bootcodeDhcp";
    require_object(d, p);
    load_record(d, kBootcodeDhcp, a.bootcodeDhcp, 0, p);
    // A text given without its length counts as long as it is.
    if (d.contains("vendorId") && !d.contains("vendorIdLength"))
      a.bootcodeDhcp[32] = uint8_t(get_text(a.bootcodeDhcp, 0, 12).size());
    if (d.contains("altClientId") && !d.contains("altClientIdLength"))
      a.bootcodeDhcp[36] = uint8_t(get_text(a.bootcodeDhcp, 16, 12).size());
  }
  if (j.contains("vpd")) a.vpd = load_vpd(j["vpd"], path + ".vpd");
  if (j.contains("bootcodeEraseNeeded"))
    a.bootcodeEraseNeeded = json_bool(j["bootcodeEraseNeeded"], path + ".bootcodeEraseNeeded");
}

void dump_maintenance_sections(const Adapter& a, json& out) {
  json dhcp = dump_record(kBootcodeDhcp, a.bootcodeDhcp, 0);
  if (!std::all_of(a.bootcodeDhcp.begin(), a.bootcodeDhcp.end(), [](uint8_t b) { return b == 0; })) {
    // Bytes outside the named fields are kept through "raw".
    dhcp["raw"] = to_hex(a.bootcodeDhcp.data(), a.bootcodeDhcp.size());
  }
  out["bootcodeDhcp"] = dhcp;
  out["vpd"] = {{"raw", to_hex(a.vpd.data(), a.vpd.size())}};
  out["bootcodeEraseNeeded"] = a.bootcodeEraseNeeded;
  json updates = json::array();
  for (const FlashUpdate& u : a.flashUpdates) updates.push_back({{"path", u.path}, {"type", u.type}, {"size", u.size}});
  out["//flashUpdates"] = updates;
}

}  // namespace izksim
