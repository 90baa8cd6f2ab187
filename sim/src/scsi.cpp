#include "scsi.hpp"

#include <algorithm>
#include <cstring>
#include <vector>

#include "izksim/izksim.h"

namespace izksim {

namespace {

constexpr uint8_t kTestUnitReady = 0x00;
constexpr uint8_t kInquiry = 0x12;
constexpr uint8_t kReadCapacity10 = 0x25;
constexpr uint8_t kServiceActionIn16 = 0x9E;
constexpr uint8_t kReadCapacity16 = 0x10;  // service action of 0x9E
constexpr uint8_t kReportLuns = 0xA0;

constexpr uint8_t kBufferModeDescriptor = 0x03;

uint32_t be(const uint8_t* p, size_t n) {
  uint32_t v = 0;
  for (size_t i = 0; i < n; ++i) v = (v << 8) | p[i];
  return v;
}

void put_be(std::vector<uint8_t>& b, size_t at, size_t n, uint64_t v) {
  for (size_t i = 0; i < n; ++i) b[at + i] = uint8_t(v >> (8 * (n - 1 - i)));
}

void put_padded(std::vector<uint8_t>& b, size_t at, size_t width, const std::string& s) {
  for (size_t i = 0; i < width; ++i) b[at + i] = i < s.size() ? uint8_t(s[i]) : ' ';
}

struct Outcome {
  uint32_t status = IZKSIM_OK;
  Sense sense;
  std::vector<uint8_t> data;  // data-in, before bounding by allocation and buffer length
  uint32_t allocation = 0;    // allocation length of the command
};

Outcome check(uint8_t key, uint8_t asc, uint8_t ascq) {
  Outcome o;
  o.status = IZKSIM_ST_CHECK_CONDITION;
  o.sense = {key, asc, ascq};
  return o;
}

Outcome invalid_field() { return check(kSenseIllegalRequest, 0x24, 0x00); }
Outcome invalid_opcode() { return check(kSenseIllegalRequest, 0x20, 0x00); }

Outcome inquiry(const Lun& lun, const uint8_t* cdb) {
  const bool evpd = (cdb[1] & 0x01) != 0;
  const uint8_t page = cdb[2];
  Outcome o;
  o.allocation = be(cdb + 3, 2);
  if (!evpd && page == 0 && !lun.inquiryData.empty()) {
    o.data = lun.inquiryData;
    return o;
  }
  if (evpd && lun.vpdPages.count(page)) {
    o.data = lun.vpdPages.at(page);
    return o;
  }
  if (!evpd) {
    if (page != 0) return invalid_field();
    std::vector<uint8_t>& d = o.data;
    d.assign(96, 0);
    d[0] = lun.deviceType & 0x1F;
    d[2] = 0x05;  // SPC-3
    d[3] = 0x12;  // HiSup, response data format 2
    d[4] = uint8_t(d.size() - 5);
    d[7] = 0x02;  // CmdQue
    put_padded(d, 8, 8, lun.vendor);
    put_padded(d, 16, 16, lun.product);
    put_padded(d, 32, 4, lun.revision);
    put_padded(d, 36, 20, lun.serial.substr(0, 20));  // bytes 36..55 belong to the vendor: the serial number
    return o;
  }
  std::vector<uint8_t>& d = o.data;
  switch (page) {
    case 0x00: {  // supported pages
      std::vector<uint8_t> pages = {0x00, 0x80};
      if (lun.page83) pages.push_back(0x83);
      d.assign(4 + pages.size(), 0);
      d[0] = lun.deviceType & 0x1F;
      put_be(d, 2, 2, pages.size());
      std::copy(pages.begin(), pages.end(), d.begin() + 4);
      return o;
    }
    case 0x80: {  // unit serial number
      d.assign(4 + lun.serial.size(), 0);
      d[0] = lun.deviceType & 0x1F;
      d[1] = 0x80;
      put_be(d, 2, 2, lun.serial.size());
      std::copy(lun.serial.begin(), lun.serial.end(), d.begin() + 4);
      return o;
    }
    case 0x83: {  // device identification: one NAA designator, identifier at byte 8
      if (!lun.page83) return invalid_field();
      d.assign(16, 0);
      d[0] = lun.deviceType & 0x1F;
      d[1] = 0x83;
      put_be(d, 2, 2, 12);
      d[4] = 0x01;  // protocol 0, code set binary
      d[5] = 0x03;  // association: logical unit, designator type NAA
      d[7] = 8;     // designator length
      std::copy(lun.wwuln.begin(), lun.wwuln.end(), d.begin() + 8);
      return o;
    }
    default:
      return invalid_field();
  }
}

// LUN numbers below 256 use peripheral device addressing, larger ones (and
// all of a target that uses it throughout) flat space addressing (first byte
// 0x40 | high bits).
Outcome report_luns(const Target& t, const uint8_t* cdb) {
  Outcome o;
  o.allocation = be(cdb + 6, 4);
  if (o.allocation < 16) return invalid_field();
  if (t.hasReportLunsData) {
    o.data = t.reportLunsData;
    return o;
  }
  std::vector<uint16_t> numbers;
  for (const Lun& l : t.luns) numbers.push_back(l.number);
  std::sort(numbers.begin(), numbers.end());
  o.data.assign(8 + 8 * numbers.size(), 0);
  put_be(o.data, 0, 4, 8 * numbers.size());
  for (size_t i = 0; i < numbers.size(); ++i) {
    const uint16_t n = numbers[i];
    o.data[8 + 8 * i] = n < 256 && !t.flatAddressing ? 0 : uint8_t(0x40 | (n >> 8));
    o.data[8 + 8 * i + 1] = uint8_t(n & 0xFF);
  }
  return o;
}

Outcome read_capacity10(const Lun& lun) {
  Outcome o;
  o.allocation = 8;
  const uint64_t last = lun.blocks ? lun.blocks - 1 : 0;
  o.data.assign(8, 0);
  put_be(o.data, 0, 4, last > 0xFFFFFFFFull ? 0xFFFFFFFFull : last);
  put_be(o.data, 4, 4, lun.blockLength);
  return o;
}

Outcome read_capacity16(const Lun& lun, const uint8_t* cdb) {
  if ((cdb[1] & 0x1F) != kReadCapacity16) return invalid_field();
  Outcome o;
  o.allocation = be(cdb + 10, 4);
  o.data.assign(32, 0);
  put_be(o.data, 0, 8, lun.blocks ? lun.blocks - 1 : 0);
  put_be(o.data, 8, 4, lun.blockLength);
  return o;
}

Outcome write_buffer(Lun& lun, const ScsiRequest& r) {
  const uint8_t* cdb = r.cdb;
  if (!lun.bufferSupported) return invalid_opcode();
  if ((cdb[1] & 0x1F) != kBufferModeData || cdb[2] != 0) return invalid_field();
  const uint32_t offset = be(cdb + 3, 3);
  const uint32_t length = be(cdb + 6, 3);
  if (offset > kLunBufferSize || length > kLunBufferSize - offset) return invalid_field();
  // The data phase carries at most what the caller handed over.
  const uint32_t n = std::min(length, r.dataOutLength);
  if (n) std::memcpy(lun.buffer.data() + offset, r.dataOut, n);
  return Outcome();
}

Outcome read_buffer(const Lun& lun, const uint8_t* cdb) {
  if (!lun.bufferSupported) return invalid_opcode();
  const uint8_t mode = cdb[1] & 0x1F;
  Outcome o;
  o.allocation = be(cdb + 6, 3);
  if (cdb[2] != 0) return invalid_field();
  if (mode == kBufferModeDescriptor) {
    o.data.assign(4, 0);
    put_be(o.data, 1, 3, kLunBufferSize);
    return o;
  }
  if (mode != kBufferModeData) return invalid_field();
  const uint32_t offset = be(cdb + 3, 3);
  if (offset > kLunBufferSize || o.allocation > kLunBufferSize - offset) return invalid_field();
  o.data.assign(lun.buffer.begin() + offset, lun.buffer.end());
  return o;
}

size_t required_cdb_length(uint8_t opcode) {
  switch (opcode) {
    case kTestUnitReady:
    case kInquiry: return 6;
    case kReadCapacity10:
    case kWriteBuffer:
    case kReadBuffer: return 10;
    case kReportLuns: return 12;
    case kServiceActionIn16: return 16;
    default: return 1;
  }
}

}  // namespace

void set_address(ScsiRequest& r, const void* targetInformation) {
  const uint8_t* ti = static_cast<const uint8_t*>(targetInformation);
  r.bus = uint16_t(ti[0] | ti[1] << 8);
  r.targetId = uint16_t(ti[2] | ti[3] << 8);
  r.lun = uint16_t(ti[4] | ti[5] << 8);
}

void write_fixed_sense(const Sense& sense, uint8_t* buffer, uint32_t length) {
  uint8_t s[kFixedSenseLength] = {0};
  s[0] = 0x70;  // current error, fixed format
  s[2] = sense.key & 0x0F;
  s[7] = 10;  // additional sense length
  s[12] = sense.asc;
  s[13] = sense.ascq;
  if (buffer) std::memcpy(buffer, s, std::min<size_t>(length, sizeof s));
}

uint32_t scsi_execute(Adapter& adapter, const ScsiRequest& r, Sense* sense) {
  if (!r.cdb || r.cdbLength == 0 || r.cdbLength > 16) return IZKSIM_ST_INVALID_PARAMETER;
  const uint8_t opcode = r.cdb[0];
  if (r.cdbLength < required_cdb_length(opcode)) return IZKSIM_ST_INVALID_PARAMETER;

  Target* t = adapter.find_target(r.bus, r.targetId);
  if (!t) return IZKSIM_ST_TARGET_NOT_FOUND;
  if (t->state != 4) return IZKSIM_ST_TARGET_NOT_ACTIVE;
  Lun* lun = t->find_lun(r.lun);
  // REPORT LUNS is answered by the target whichever LUN it is sent to.
  if (!lun && opcode != kReportLuns) return IZKSIM_ST_LUN_NOT_FOUND;

  Outcome o;
  switch (opcode) {
    case kTestUnitReady: o = lun->ready ? Outcome() : check(kSenseNotReady, 0x04, 0x00); break;
    case kInquiry: o = inquiry(*lun, r.cdb); break;
    case kReportLuns: o = report_luns(*t, r.cdb); break;
    case kReadCapacity10: o = read_capacity10(*lun); break;
    case kServiceActionIn16: o = read_capacity16(*lun, r.cdb); break;
    case kWriteBuffer:
      if (r.dataOutLength && !r.dataOut) return IZKSIM_ST_INVALID_PARAMETER;
      o = write_buffer(*lun, r);
      break;
    case kReadBuffer: o = read_buffer(*lun, r.cdb); break;
    default: o = invalid_opcode(); break;
  }
  if (o.status == IZKSIM_ST_CHECK_CONDITION) {
    if (sense) *sense = o.sense;
    return o.status;
  }
  if (!o.data.empty() && r.dataIn) {
    const size_t n = std::min<size_t>({o.data.size(), o.allocation, r.dataInLength});
    std::memcpy(r.dataIn, o.data.data(), n);
  }
  return o.status;
}

}  // namespace izksim
