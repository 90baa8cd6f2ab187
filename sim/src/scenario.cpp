// Scenario JSON -> simulated state, and back.
#include <cstring>
#include <set>

#include "state.hpp"

namespace izksim {

Lun* Target::find_lun(uint16_t number) {
  for (Lun& l : luns)
    if (l.number == number) return &l;
  return nullptr;
}

Target* Adapter::find_target(uint16_t bus, uint16_t targetId) {
  for (Target& t : targets)
    if (t.bus == bus && t.targetId == targetId) return &t;
  return nullptr;
}

uint32_t Adapter::next_valid_after(uint32_t index) const {
  for (auto it = ddb.upper_bound(index); it != ddb.end(); ++it)
    if (get_le(it->second.bytes, kDdbDeviceState, 4) != 0) return it->first;
  return 0;
}

uint32_t Adapter::valid_entries() const {
  uint32_t n = 0;
  for (const auto& kv : ddb)
    if (get_le(kv.second.bytes, kDdbDeviceState, 4) != 0) ++n;
  return n;
}

uint32_t Adapter::next_valid_of(uint32_t index) const {
  auto it = ddb.find(index);
  if (it != ddb.end() && it->second.fixedNextValid) return uint32_t(get_le(it->second.bytes, kDdbNextValid, 4));
  return next_valid_after(index);
}

void Adapter::set_target_state(Target& t, uint16_t state) {
  t.state = state;
  put_le(t.portal, 152 + 6, 2, state);  // DISCISCSIPORTAL.TargetInfo.TargetState
  put_le(t.node, 328 + 6, 2, state);    // DISCISCSINODE.TargetInfo.TargetState
}

bool Adapter::set_entry_state(uint32_t index, uint32_t state) {
  auto it = ddb.find(index);
  if (it == ddb.end()) return false;
  put_le(it->second.bytes, kDdbDeviceState, 4, state);
  for (Target& t : targets)
    if (t.targetId == index) set_target_state(t, uint16_t(state));
  return true;
}

Adapter* State::by_handle(uint32_t handle) {
  if (handle == 0) return nullptr;
  for (Adapter& a : adapters)
    if (a.handle == handle) return &a;
  return nullptr;
}

Adapter* State::by_instance(uint32_t instance) {
  for (Adapter& a : adapters)
    if (a.instance == instance) return &a;
  return nullptr;
}


// Sections with a loader of their own.
static const char* const kOwnSections[] = {"chapTable", "isnsConfig", "isnsTargets", "connectionErrorLog", "arpLog",
                                           "crashRecord", "statistics", "statisticsExtend", "statisticsGen",
                                           "diagnostics"};

// Sections of an adapter that a later round gives field-level meaning are kept
// as the scenario gave them (Adapter::later); every section has a loader now.
static bool is_later_section(const std::string&) { return false; }

static std::string text_field(const json& j, const std::string& path, size_t max) {
  const std::string s = json_string(j, path);
  if (s.size() > max)
    throw LoadError(path + ": text of " + std::to_string(s.size()) + " bytes does not fit in " + std::to_string(max));
  return s;
}

static Bytes target_info_bytes(const Target& t) {
  Bytes b(136, 0);
  put_le(b, 0, 2, t.bus);
  put_le(b, 2, 2, t.targetId);
  put_le(b, 4, 2, 0);
  put_le(b, 6, 2, t.state);
  b[8] = t.supportsTest ? 1 : 0;
  return b;
}

static Lun load_lun(const json& j, const std::string& path) {
  check_keys(j, path,
             {"lun", "deviceType", "vendor", "product", "revision", "serial", "wwuln", "page83", "blocks",
              "blockLength", "buffer", "ready", "bufferSupported", "capacityRecord", "inquiryData", "vpdPages"});
  if (!j.contains("lun")) throw LoadError(path + ": missing key \"lun\"");
  Lun l;
  l.number = uint16_t(json_uint(j["lun"], path + ".lun", 0x3FFF));
  if (j.contains("deviceType")) l.deviceType = uint8_t(json_uint(j["deviceType"], path + ".deviceType", 0x1F));
  if (j.contains("vendor")) l.vendor = text_field(j["vendor"], path + ".vendor", 8);
  if (j.contains("product")) l.product = text_field(j["product"], path + ".product", 16);
  if (j.contains("revision")) l.revision = text_field(j["revision"], path + ".revision", 4);
  if (j.contains("serial")) l.serial = text_field(j["serial"], path + ".serial", 64);
  if (j.contains("wwuln")) {
    const Bytes w = parse_hex(json_string(j["wwuln"], path + ".wwuln"), path + ".wwuln");
    if (w.size() != 8) throw LoadError(path + ".wwuln: expected 8 bytes, found " + std::to_string(w.size()));
    std::memcpy(l.wwuln.data(), w.data(), 8);
  }
  if (j.contains("page83")) l.page83 = json_bool(j["page83"], path + ".page83");
  if (j.contains("blocks")) l.blocks = json_uint(j["blocks"], path + ".blocks", UINT64_MAX);
  if (j.contains("blockLength")) l.blockLength = uint32_t(json_uint(j["blockLength"], path + ".blockLength", 0xFFFFFFFFu));
  if (j.contains("buffer")) {
    const Bytes b = parse_hex(json_string(j["buffer"], path + ".buffer"), path + ".buffer");
    if (b.size() > kLunBufferSize) throw LoadError(path + ".buffer: " + std::to_string(b.size()) + " bytes do not fit in 64");
    std::memcpy(l.buffer.data(), b.data(), b.size());
  }
  if (j.contains("ready")) l.ready = json_bool(j["ready"], path + ".ready");
  if (j.contains("inquiryData")) {
    l.inquiryData = parse_hex(json_string(j["inquiryData"], path + ".inquiryData"), path + ".inquiryData");
    if (l.inquiryData.size() > 255) throw LoadError(path + ".inquiryData: more than 255 bytes");
  }
  if (j.contains("vpdPages")) {
    require_object(j["vpdPages"], path + ".vpdPages");
    for (auto it = j["vpdPages"].begin(); it != j["vpdPages"].end(); ++it) {
      const std::string p = path + ".vpdPages." + it.key();
      const uint8_t page = uint8_t(json_uint(json(it.key()), p, 0xFF));
      l.vpdPages[page] = parse_hex(json_string(*it, p), p);
      if (l.vpdPages[page].size() > 0xFFFF) throw LoadError(p + ": more than 65535 bytes");
    }
  }
  if (j.contains("bufferSupported")) l.bufferSupported = json_bool(j["bufferSupported"], path + ".bufferSupported");
  if (j.contains("capacityRecord")) {
    const json& c = j["capacityRecord"];
    const std::string p = path + ".capacityRecord";
    check_keys(c, p, {"lba", "blockLength", "mbytes"});
    l.hasCapacityRecord = true;
    if (c.contains("lba")) l.capacityLba = json_uint(c["lba"], p + ".lba", UINT64_MAX);
    if (c.contains("blockLength")) l.capacityBlockLength = json_uint(c["blockLength"], p + ".blockLength", UINT64_MAX);
    if (c.contains("mbytes")) l.capacityMbytes = uint32_t(json_uint(c["mbytes"], p + ".mbytes", 0xFFFFFFFFu));
  }
  return l;
}

static Target load_target(const json& j, const std::string& path) {
  check_keys(j, path,
             {"bus", "targetId", "state", "supportsTest", "portal", "node", "luns", "reportLunsData", "lunAddressing",
              "reportLunsStatus"});
  if (!j.contains("targetId")) throw LoadError(path + ": missing key \"targetId\"");
  Target t;
  if (j.contains("bus")) t.bus = uint16_t(json_uint(j["bus"], path + ".bus", 0xFFFF));
  t.targetId = uint16_t(json_uint(j["targetId"], path + ".targetId", kDdbEntries - 1));
  if (j.contains("state")) t.state = uint16_t(json_uint(j["state"], path + ".state", 0xFFFF));
  if (j.contains("supportsTest")) t.supportsTest = json_bool(j["supportsTest"], path + ".supportsTest");
  // The SCSI address inside both records follows the target; the scenario may still override it.
  const Bytes ti = target_info_bytes(t);
  t.portal.assign(292, 0);
  std::memcpy(t.portal.data() + 152, ti.data(), ti.size());
  t.node.assign(468, 0);
  std::memcpy(t.node.data() + 328, ti.data(), ti.size());
  if (j.contains("portal")) load_record(j["portal"], layouts::kDiscIscsiPortal, t.portal, 0, path + ".portal");
  if (j.contains("node")) load_record(j["node"], layouts::kDiscIscsiNode, t.node, 0, path + ".node");
  if (j.contains("luns")) {
    require_array(j["luns"], path + ".luns");
    std::set<uint16_t> seen;
    for (size_t i = 0; i < j["luns"].size(); ++i) {
      const std::string p = path + ".luns[" + std::to_string(i) + "]";
      Lun l = load_lun(j["luns"][i], p);
      if (!seen.insert(l.number).second) throw LoadError(p + ": duplicate LUN " + std::to_string(l.number));
      t.luns.push_back(std::move(l));
    }
  }
  if (j.contains("reportLunsData")) {
    t.hasReportLunsData = true;
    t.reportLunsData = parse_hex(json_string(j["reportLunsData"], path + ".reportLunsData"), path + ".reportLunsData");
  }
  if (j.contains("lunAddressing")) {
    const std::string a = json_string(j["lunAddressing"], path + ".lunAddressing");
    if (a != "peripheral" && a != "flat")
      throw LoadError(path + ".lunAddressing: \"" + a + "\" is neither \"peripheral\" nor \"flat\"");
    t.flatAddressing = a == "flat";
  }
  if (j.contains("reportLunsStatus"))
    t.reportLunsStatus = uint32_t(json_uint(j["reportLunsStatus"], path + ".reportLunsStatus", 0xFFFFFFFFu));
  return t;
}

static void load_ddb_entry(const json& j, const std::string& path, Adapter& a) {
  require_object(j, path);
  if (!j.contains("index")) throw LoadError(path + ": missing key \"index\"");
  const uint32_t index = uint32_t(json_uint(j["index"], path + ".index", kDdbEntries - 1));
  if (a.ddb.count(index)) throw LoadError(path + ": duplicate device database index " + std::to_string(index));
  DdbEntry e;
  e.bytes.assign(kDdbEntrySize, 0);
  put_le(e.bytes, kDdbTargetId, 4, index);  // TargetID follows the index unless given
  json fields = json::object();
  for (auto it = j.begin(); it != j.end(); ++it) {
    if (it.key() == "index") continue;
    if (it.key() == "nextValid") {
      e.fixedNextValid = true;
      put_le(e.bytes, kDdbNextValid, 4, json_uint(*it, path + ".nextValid", 0xFFFFFFFFu));
      continue;
    }
    fields[it.key()] = *it;
  }
  load_record(fields, layouts::kDeviceEntryIscsi, e.bytes, 0, path);
  a.ddb.emplace(index, std::move(e));
}

// The code and payload of an event or script entry.
static Event load_event_body(const json& j, const std::string& path) {
  if (!j.contains("code")) throw LoadError(path + ": missing key \"code\"");
  Event e;
  e.code = uint32_t(json_uint(j["code"], path + ".code", 0xFFFFFFFFu));
  if (j.contains("payload")) {
    require_array(j["payload"], path + ".payload");
    if (j["payload"].size() > 7) throw LoadError(path + ".payload: more than 7 words");
    for (size_t i = 0; i < j["payload"].size(); ++i)
      e.payload[i] = uint32_t(json_uint(j["payload"][i], path + ".payload[" + std::to_string(i) + "]", 0xFFFFFFFFu));
  }
  return e;
}

static Event load_event(const json& j, const std::string& path) {
  check_keys(j, path, {"code", "payload"});
  const Event body = load_event_body(j, path);
  return make_event(body.code, body.payload.data());
}

// {"afterSeconds": n, ...} fires once, n seconds after events were enabled;
// {"everySeconds": n, ...} fires every n seconds, the first time after
// "afterSeconds" when that is given too, else after n.
static ScriptEntry load_script_entry(const json& j, const std::string& path) {
  check_keys(j, path, {"afterSeconds", "everySeconds", "code", "payload"});
  const Event body = load_event_body(j, path);
  ScriptEntry s;
  s.code = body.code;
  s.payload = body.payload;
  if (!j.contains("afterSeconds") && !j.contains("everySeconds"))
    throw LoadError(path + ": needs \"afterSeconds\" or \"everySeconds\"");
  if (j.contains("everySeconds")) {
    s.everyMs = json_uint(j["everySeconds"], path + ".everySeconds", 0xFFFFFFFFu) * 1000;
    if (s.everyMs == 0) throw LoadError(path + ".everySeconds: must be at least 1");
    s.firstMs = s.everyMs;
  }
  if (j.contains("afterSeconds")) s.firstMs = json_uint(j["afterSeconds"], path + ".afterSeconds", 0xFFFFFFFFu) * 1000;
  return s;
}

static Adapter load_adapter(const json& j, const std::string& path) {
  require_object(j, path);
  for (auto it = j.begin(); it != j.end(); ++it) {
    static const char* const known[] = {"instance", "handle", "portal",  "node",    "driver",           "chip",
                                        "initFw",   "fwDefaults", "alias", "tcpMaxWindowSize", "ddb", "targets",
                                        "events",   "eventScript", "aenEnabled", "defaultDdbEntry", "bootcode",
                                        "bootcodeDhcp", "vpd", "bootcodeEraseNeeded", "failures",
                                        "damagedCounts"};
    bool ok = is_comment_key(it.key()) || is_later_section(it.key()) || is_security_key(it.key());
    for (const char* k : known) ok = ok || it.key() == k;
    for (const char* k : kOwnSections) ok = ok || it.key() == k;
    if (!ok) throw LoadError("unknown key \"" + it.key() + "\" in " + path);
  }
  if (!j.contains("instance")) throw LoadError(path + ": missing key \"instance\"");
  Adapter a;
  a.instance = uint32_t(json_uint(j["instance"], path + ".instance", 0xFFFFFFFFu));
  a.handle = j.contains("handle") ? uint32_t(json_uint(j["handle"], path + ".handle", 0xFFFFFFFFu)) : 100 + a.instance;
  if (a.handle == 0) throw LoadError(path + ".handle: 0 is never a valid handle");
  a.portal.assign(720, 0);
  a.node.assign(452, 0);
  a.driver.assign(200, 0);
  a.chip.assign(122, 0);
  a.initFw.assign(782, 0);
  a.fwDefaults.assign(782, 0);
  if (j.contains("portal")) load_record(j["portal"], layouts::kHbaIscsiPortal, a.portal, 0, path + ".portal");
  if (j.contains("node")) load_record(j["node"], layouts::kHbaIscsiNode, a.node, 0, path + ".node");
  if (j.contains("driver")) load_record(j["driver"], layouts::kDriverInfo, a.driver, 0, path + ".driver");
  if (j.contains("chip")) load_record(j["chip"], layouts::kChipInfo, a.chip, 0, path + ".chip");
  if (j.contains("initFw")) load_record(j["initFw"], layouts::kInitFwIscsi, a.initFw, 0, path + ".initFw");
  if (j.contains("fwDefaults")) load_record(j["fwDefaults"], layouts::kInitFwIscsi, a.fwDefaults, 0, path + ".fwDefaults");
  a.defaultDdb.assign(kDdbEntrySize, 0);
  a.bootcode.assign(28, 0);
  if (j.contains("defaultDdbEntry"))
    load_record(j["defaultDdbEntry"], layouts::kDeviceEntryIscsi, a.defaultDdb, 0, path + ".defaultDdbEntry");
  if (j.contains("bootcode")) load_record(j["bootcode"], layouts::kSdmBootcode, a.bootcode, 0, path + ".bootcode");
  load_maintenance_sections(j, path, a);
  if (j.contains("alias")) a.alias = text_field(j["alias"], path + ".alias", kAliasMax);
  if (j.contains("tcpMaxWindowSize"))
    a.tcpMaxWindow = uint16_t(json_uint(j["tcpMaxWindowSize"], path + ".tcpMaxWindowSize", 0xFFFF));
  if (j.contains("ddb")) {
    require_array(j["ddb"], path + ".ddb");
    for (size_t i = 0; i < j["ddb"].size(); ++i)
      load_ddb_entry(j["ddb"][i], path + ".ddb[" + std::to_string(i) + "]", a);
  }
  if (j.contains("targets")) {
    require_array(j["targets"], path + ".targets");
    for (size_t i = 0; i < j["targets"].size(); ++i) {
      const std::string p = path + ".targets[" + std::to_string(i) + "]";
      Target t = load_target(j["targets"][i], p);
      if (a.find_target(t.bus, t.targetId))
        throw LoadError(p + ": duplicate target bus " + std::to_string(t.bus) + " id " + std::to_string(t.targetId));
      a.targets.push_back(std::move(t));
    }
  }
  // The portal's count of discovered targets follows the target list unless given.
  if (!(j.contains("portal") && j["portal"].is_object() && j["portal"].contains("discTargetCount")))
    put_le(a.portal, 686, 2, a.targets.size());
  if (j.contains("events")) {
    require_array(j["events"], path + ".events");
    for (size_t i = 0; i < j["events"].size(); ++i)
      a.events.push_back(load_event(j["events"][i], path + ".events[" + std::to_string(i) + "]"));
  }
  if (j.contains("eventScript")) {
    require_array(j["eventScript"], path + ".eventScript");
    for (size_t i = 0; i < j["eventScript"].size(); ++i)
      a.script.push_back(load_script_entry(j["eventScript"][i], path + ".eventScript[" + std::to_string(i) + "]"));
  }
  a.scriptNextMs.assign(a.script.size(), kScriptDone);
  if (j.contains("aenEnabled")) a.aenEnabled = json_bool(j["aenEnabled"], path + ".aenEnabled");
  if (j.contains("failures")) {
    require_object(j["failures"], path + ".failures");
    for (auto it = j["failures"].begin(); it != j["failures"].end(); ++it)
      if (!is_comment_key(it.key()))
        a.failures[it.key()] = uint32_t(json_uint(*it, path + ".failures." + it.key(), 0xFFFFFFFFu));
  }
  if (j.contains("damagedCounts")) {
    require_object(j["damagedCounts"], path + ".damagedCounts");
    for (auto it = j["damagedCounts"].begin(); it != j["damagedCounts"].end(); ++it)
      if (!is_comment_key(it.key()))
        a.damagedCounts[it.key()] = uint32_t(json_uint(*it, path + ".damagedCounts." + it.key(), 0xFFFFFFFFu));
  }
  load_security(j, path, a.security);
  load_chap_section(j, path, a);
  load_isns_sections(j, path, a);
  load_log_sections(j, path, a);
  for (auto it = j.begin(); it != j.end(); ++it)
    if (is_later_section(it.key())) a.later[it.key()] = *it;
  load_monitor(j, path, a);
  return a;
}

State load_scenario(const json& scenario) {
  check_keys(scenario, "scenario", {"version", "adapters"});
  State s;
  if (scenario.contains("version")) s.version = json_string(scenario["version"], "version");
  if (scenario.contains("adapters")) {
    require_array(scenario["adapters"], "adapters");
    for (size_t i = 0; i < scenario["adapters"].size(); ++i) {
      const std::string p = "adapters[" + std::to_string(i) + "]";
      Adapter a = load_adapter(scenario["adapters"][i], p);
      if (s.by_instance(a.instance)) throw LoadError(p + ": duplicate instance " + std::to_string(a.instance));
      if (s.by_handle(a.handle)) throw LoadError(p + ": duplicate handle " + std::to_string(a.handle));
      s.adapters.push_back(std::move(a));
    }
  }
  return s;
}

static json dump_lun(const Lun& l) {
  json j = {{"lun", l.number},
          {"deviceType", l.deviceType},
          {"vendor", l.vendor},
          {"product", l.product},
          {"revision", l.revision},
          {"serial", l.serial},
          {"wwuln", to_hex(l.wwuln.data(), l.wwuln.size())},
          {"page83", l.page83},
          {"blocks", l.blocks},
          {"blockLength", l.blockLength},
          {"buffer", to_hex(l.buffer.data(), l.buffer.size())},
          {"ready", l.ready},
          {"bufferSupported", l.bufferSupported}};
  if (!l.inquiryData.empty()) j["inquiryData"] = to_hex(l.inquiryData.data(), l.inquiryData.size());
  for (const auto& kv : l.vpdPages) {
    char page[8];
    std::snprintf(page, sizeof page, "0x%02x", kv.first);
    j["vpdPages"][page] = to_hex(kv.second.data(), kv.second.size());
  }
  if (l.hasCapacityRecord)
    j["capacityRecord"] = {{"lba", l.capacityLba}, {"blockLength", l.capacityBlockLength}, {"mbytes", l.capacityMbytes}};
  return j;
}

json dump_state(const State& state) {
  json adapters = json::array();
  for (const Adapter& a : state.adapters) {
    json ja = {{"instance", a.instance},
               {"handle", a.handle},
               {"//open", a.open},
               {"portal", dump_record(layouts::kHbaIscsiPortal, a.portal, 0)},
               {"node", dump_record(layouts::kHbaIscsiNode, a.node, 0)},
               {"driver", dump_record(layouts::kDriverInfo, a.driver, 0)},
               {"chip", dump_record(layouts::kChipInfo, a.chip, 0)},
               {"initFw", dump_record(layouts::kInitFwIscsi, a.initFw, 0)},
               {"fwDefaults", dump_record(layouts::kInitFwIscsi, a.fwDefaults, 0)},
               {"defaultDdbEntry", dump_record(layouts::kDeviceEntryIscsi, a.defaultDdb, 0)},
               {"bootcode", dump_record(layouts::kSdmBootcode, a.bootcode, 0)},
               {"alias", a.alias},
               {"tcpMaxWindowSize", a.tcpMaxWindow},
               {"aenEnabled", a.aenEnabled}};
    json ddb = json::array();
    for (const auto& kv : a.ddb) {
      json e = dump_record(layouts::kDeviceEntryIscsi, kv.second.bytes, 0);
      e["index"] = kv.first;
      // A computed NextValid is shown as a comment, so that loading the dump
      // again keeps it computed; one the scenario pinned stays pinned.
      e[kv.second.fixedNextValid ? "nextValid" : "//nextValid"] = a.next_valid_of(kv.first);
      ddb.push_back(e);
    }
    ja["ddb"] = ddb;
    json targets = json::array();
    for (const Target& t : a.targets) {
      json jt = {{"bus", t.bus},
                 {"targetId", t.targetId},
                 {"state", t.state},
                 {"supportsTest", t.supportsTest},
                 {"portal", dump_record(layouts::kDiscIscsiPortal, t.portal, 0)},
                 {"node", dump_record(layouts::kDiscIscsiNode, t.node, 0)}};
      json luns = json::array();
      for (const Lun& l : t.luns) luns.push_back(dump_lun(l));
      jt["luns"] = luns;
      if (t.hasReportLunsData) jt["reportLunsData"] = to_hex(t.reportLunsData.data(), t.reportLunsData.size());
      jt["lunAddressing"] = t.flatAddressing ? "flat" : "peripheral";
      jt["reportLunsStatus"] = t.reportLunsStatus;
      targets.push_back(jt);
    }
    ja["targets"] = targets;
    json events = json::array();
    for (const Event& e : a.events) events.push_back({{"code", e.code}, {"payload", e.payload}});
    ja["events"] = events;
    json script = json::array();
    for (const ScriptEntry& e : a.script) {
      json je = {{"code", e.code}, {"payload", e.payload}};
      if (e.everyMs != 0) je["everySeconds"] = e.everyMs / 1000;
      if (e.everyMs == 0 || e.firstMs != e.everyMs) je["afterSeconds"] = e.firstMs / 1000;
      script.push_back(je);
    }
    ja["eventScript"] = script;
    dump_security(a.security, ja);
    dump_chap_section(a, ja);
    dump_isns_sections(a, ja);
    dump_log_sections(a, ja);
    dump_maintenance_sections(a, ja);
    for (auto it = a.later.begin(); it != a.later.end(); ++it) ja[it.key()] = *it;
    if (!a.failures.empty()) ja["failures"] = a.failures;
    if (!a.damagedCounts.empty()) ja["damagedCounts"] = a.damagedCounts;
    dump_monitor(a, ja);
    adapters.push_back(ja);
  }
  return {{"version", state.version}, {"adapters", adapters}};
}

}  // namespace izksim
