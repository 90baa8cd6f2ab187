// The CHAP secret table: a row of flash slots (128 unless the scenario says
// otherwise, at most 256), each holding one CHAPTABLE record. A slot whose
// name and secret are both empty is free.
//
// Two views of the same slots: the dense one (SDGetCHAPEntryNum,
// SDGetCHAPTable, SDSetCHAPTable) packs the slots in use one after the
// other; the sparse one (SDGetCHAPTableMod, SDSetCHAPTableEntry) addresses
// every slot by its flash index, free ones included.
#include <cstring>

#include "sdm/sdm_api.h"
#include "sim.hpp"

using izksim::Adapter;
using izksim::Bytes;
using izksim::SdCall;

namespace izksim {
namespace {

constexpr size_t kLink = 0;
constexpr size_t kSecretLength = 3;
constexpr size_t kSecret = 4;
constexpr size_t kSecretSize = 100;
constexpr size_t kName = 104;

static_assert(sizeof(CHAPTABLE) == kChapEntrySize, "CHAPTABLE");

const Layout kChapTable{"CHAPTABLE",
                        kChapEntrySize,
                        {
                            {"link", kLink, Kind::U16, 2},
                            {"flags", 2, Kind::U8, 1},
                            {"secretLength", kSecretLength, Kind::U8, 1},
                            {"secret", kSecret, Kind::Hex, kSecretSize},
                            {"name", kName, Kind::Text, 256},
                        }};

bool slot_in_use(const Bytes& slot) { return slot[kName] != 0 || slot[kSecretLength] != 0; }

}  // namespace

// "chapTable": {"slots": 128, "entries": [{"index": 0, "name": "...",
// "secretText": "...", "flags": 0, "link": 0}, ...]}. An entry takes the
// CHAPTABLE fields by name; "secretText" gives the secret as text and sets
// "secretLength" to its length unless that is given too.
void load_chap_section(const json& adapter, const std::string& path, Adapter& a) {
  if (!adapter.contains("chapTable")) return;
  const std::string p = path + ".chapTable";
  const json& j = adapter["chapTable"];
  check_keys(j, p, {"slots", "entries"});
  size_t slots = kChapSlots;
  if (j.contains("slots")) {
    slots = size_t(json_uint(j["slots"], p + ".slots", kChapSlotsMax));
    if (slots == 0) throw LoadError(p + ".slots: a table has at least one slot");
  }
  a.chapSlots.assign(slots, Bytes(kChapEntrySize, 0));
  if (!j.contains("entries")) return;
  require_array(j["entries"], p + ".entries");
  std::vector<bool> seen(slots, false);
  for (size_t i = 0; i < j["entries"].size(); ++i) {
    const std::string ep = p + ".entries[" + std::to_string(i) + "]";
    const json& e = j["entries"][i];
    require_object(e, ep);
    if (!e.contains("index")) throw LoadError(ep + ": missing key \"index\"");
    const size_t index = size_t(json_uint(e["index"], ep + ".index", slots - 1));
    if (seen[index]) throw LoadError(ep + ": duplicate CHAP slot " + std::to_string(index));
    seen[index] = true;
    json fields = json::object();
    std::string secretText;
    bool hasSecretText = false;
    for (auto it = e.begin(); it != e.end(); ++it) {
      if (it.key() == "index") continue;
      if (it.key() == "secretText") {
        secretText = json_string(*it, ep + ".secretText");
        if (secretText.size() > kSecretSize)
          throw LoadError(ep + ".secretText: text of " + std::to_string(secretText.size()) +
                          " bytes does not fit in 100");
        hasSecretText = true;
        continue;
      }
      fields[it.key()] = *it;
    }
    Bytes& slot = a.chapSlots[index];
    if (hasSecretText) {
      put_text(slot, kSecret, kSecretSize, secretText);
      slot[kSecretLength] = uint8_t(secretText.size());
    }
    load_record(fields, kChapTable, slot, 0, ep);
  }
}

void dump_chap_section(const Adapter& a, json& out) {
  json entries = json::array();
  for (size_t i = 0; i < a.chapSlots.size(); ++i) {
    if (!slot_in_use(a.chapSlots[i])) continue;
    json e = dump_record(kChapTable, a.chapSlots[i], 0);
    e["index"] = i;
    entries.push_back(e);
  }
  out["chapTable"] = {{"slots", a.chapSlots.size()}, {"entries", entries}};
}

}  // namespace izksim

namespace {

template <class T>
size_t size_of(const T* p) {
  return p ? sizeof(T) : 0;
}

void copy_slot(CHAPTABLE* dst, const Bytes& slot) { std::memcpy(dst, slot.data(), izksim::kChapEntrySize); }

}  // namespace

// Number of slots in use.
SD_EXPORT SD_STATUS SDGetCHAPEntryNum(SDMGT_HANDLE handle, uint32_t* count) {
  SdCall c("SDGetCHAPEntryNum");
  c.arg("handle", handle).rec("count", count, size_of(count));
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!count) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  uint32_t n = 0;
  for (const Bytes& slot : a->chapSlots) n += izksim::slot_in_use(slot) ? 1 : 0;
  *count = n;
  return c.done(IZKSIM_OK);
}

// Dense read: the slots in use, packed in slot order. *count holds the
// capacity of `table` going in and the number of records written coming out.
// The table's capacity is not part of the contract, so only the count is
// logged for the reads; the writes log the entries they get.
SD_EXPORT SD_STATUS SDGetCHAPTable(SDMGT_HANDLE handle, CHAPTABLE* table, uint32_t* count) {
  SdCall c("SDGetCHAPTable");
  c.arg("handle", handle).rec("count", count, size_of(count));
  if (count) c.arg("capacity", *count);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!table || !count) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  uint32_t written = 0;
  for (const Bytes& slot : a->chapSlots) {
    if (written == *count) break;
    if (izksim::slot_in_use(slot)) copy_slot(&table[written++], slot);
  }
  *count = written;
  return c.done(IZKSIM_OK);
}

// Sparse read: every slot from flash index 0 on, free ones included. A table
// with more slots than the capacity fills the capacity and answers
// IZKSIM_ST_MORE_DATA.
SD_EXPORT SD_STATUS SDGetCHAPTableMod(SDMGT_HANDLE handle, CHAPTABLE* table, uint32_t* count) {
  SdCall c("SDGetCHAPTableMod");
  c.arg("handle", handle).rec("count", count, size_of(count));
  if (count) c.arg("capacity", *count);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!table || !count) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  const size_t slots = a->chapSlots.size();
  const size_t n = slots < *count ? slots : *count;
  for (size_t i = 0; i < n; ++i) copy_slot(&table[i], a->chapSlots[i]);
  *count = uint32_t(n);
  return c.done(n < slots ? IZKSIM_ST_MORE_DATA : IZKSIM_OK);
}

// Replaces the whole table: slot i takes record i for i below *count, the
// slots after them are freed. More records than slots: invalid parameter.
SD_EXPORT SD_STATUS SDSetCHAPTable(SDMGT_HANDLE handle, CHAPTABLE* table, uint32_t* count) {
  SdCall c("SDSetCHAPTable");
  c.arg("handle", handle).rec("count", count, size_of(count));
  if (count) c.arg("entries", *count);
  if (count && *count > izksim::kChapSlotsMax) {
    c.rec("table", nullptr, 0);  // too many to be a table: refused unread
  } else {
    c.rec("table", table, table && count ? size_t(*count) * sizeof(CHAPTABLE) : 0);
  }
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!table || !count || *count > a->chapSlots.size()) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  for (size_t i = 0; i < a->chapSlots.size(); ++i) {
    Bytes& slot = a->chapSlots[i];
    if (i < *count) {
      const uint8_t* p = reinterpret_cast<const uint8_t*>(&table[i]);
      slot.assign(p, p + izksim::kChapEntrySize);
    } else {
      slot.assign(izksim::kChapEntrySize, 0);
    }
  }
  return c.done(IZKSIM_OK);
}

// Writes the slot at flash index `index` as given; an entry with an empty
// name and secret frees it.
SD_EXPORT SD_STATUS SDSetCHAPTableEntry(SDMGT_HANDLE handle, CHAPTABLE* entry, uint32_t index) {
  SdCall c("SDSetCHAPTableEntry");
  c.arg("handle", handle).rec("entry", entry, size_of(entry)).arg("index", index);
  if (c.faulted()) return c.status();
  Adapter* a = c.open_adapter(handle);
  if (!a) return c.done(IZKSIM_ST_INVALID_HANDLE);
  if (!entry || index >= a->chapSlots.size()) return c.done(IZKSIM_ST_INVALID_PARAMETER);
  const uint8_t* p = reinterpret_cast<const uint8_t*>(entry);
  a->chapSlots[index].assign(p, p + izksim::kChapEntrySize);
  return c.done(IZKSIM_OK);
}
