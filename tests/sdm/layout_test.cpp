// Run-time checks of the device-management library records: bytes laid down as
// the library writes them must read back as the right field values, on every
// build (the static_asserts in the header pin the offsets themselves).
#include <gtest/gtest.h>

#include <cstring>

#include "sdm/sdm_api.h"

namespace {

// Packed fields may sit at any address: never bind a reference to one (gtest's
// EXPECT_EQ takes its arguments by reference), read a copy instead.
template <typename T>
T V(T value) {
    return value;
}

template <typename Record, size_t N>
Record FromBytes(const uint8_t (&bytes)[N]) {
    static_assert(N <= sizeof(Record), "more bytes than the record holds");
    Record r;
    std::memset(&r, 0, sizeof r);
    std::memcpy(&r, bytes, N);
    return r;
}

TEST(SdmLayout, AddressTypeIsLittleEndianAfterSixteenAddressBytes) {
    const uint8_t bytes[20] = {192, 168, 7, 200, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                               0x01, 0x02, 0xCD, 0xAB};
    const ISCSIIPADDR a = FromBytes<ISCSIIPADDR>(bytes);
    EXPECT_EQ(V(a.IPAddress[0]), 192);
    EXPECT_EQ(V(a.IPAddress[3]), 200);
    EXPECT_EQ(V(a.Type), 0x0201);
    EXPECT_EQ(V(a.Reserved), 0xABCD);

    const EXT_ISCSI_IP_ADDR& same = a;  // the library's second name for it
    EXPECT_EQ(V(same.Type), 0x0201);
}

TEST(SdmLayout, AsyncEventPayloadAndTimeStamp) {
    uint8_t bytes[48] = {};
    const uint32_t words[8] = {0x8014, 1, 37, 4, 0x1B, 0, 0, 0xDEADBEEF};
    std::memcpy(bytes, words, sizeof words);
    const int32_t seconds = 1700000000;
    std::memcpy(bytes + 32, &seconds, 4);
    bytes[36] = 0xE7;  // millitm 999
    bytes[37] = 0x03;
    bytes[38] = 0xC4;  // timezone -60
    bytes[39] = 0xFF;
    bytes[40] = 1;     // dstflag
    bytes[44] = 0x5A;  // first reserved byte

    ASYNC_EVENT e;
    std::memcpy(&e, bytes, sizeof bytes);
    EXPECT_EQ(V(e.Event.AsyncEventCode), 0x8014u);
    EXPECT_EQ(V(e.Event.Payload[0]), 1u);
    EXPECT_EQ(V(e.Event.Payload[1]), 37u);
    EXPECT_EQ(V(e.Event.Payload[2]), 4u);
    EXPECT_EQ(V(e.Event.Payload[3]), 0x1Bu);
    EXPECT_EQ(V(e.Event.Payload[6]), 0xDEADBEEFu);
    EXPECT_EQ(V(e.TimeStamp.time), seconds);
    EXPECT_EQ(V(e.TimeStamp.millitm), 999);
    EXPECT_EQ(V(e.TimeStamp.timezone), -60);
    EXPECT_EQ(V(e.TimeStamp.dstflag), 1);
    EXPECT_EQ(V(e.Reserved[0]), 0x5A);

    // The event engine drains 256 events into one 12288-byte buffer.
    EXPECT_EQ(sizeof(ASYNC_EVENT[256]), 12288u);
}

TEST(SdmLayout, BootCodeLunsSitRightAfterTheirTargetIds) {
    const uint8_t bytes[28] = {
        0x08, 0x02,                                       // Flags 0x0208
        0x85,                                             // PriID: valid, id 5
        0xEE,                                             // padding
        0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11,  // PriLUN
        0x03,                                             // SecID: invalid, id 3
        0xEE, 0xEE, 0xEE,                                 // padding
        0x02, 0, 0, 0, 0, 0, 0, 0x80,                     // SecLUN
        4, 17, 1,                                         // MajorVer, MinorVer, BootcodeValid
        0xEE};
    const SDMBOOTCODE b = FromBytes<SDMBOOTCODE>(bytes);
    EXPECT_EQ(V(b.Flags), 0x0208);
    EXPECT_EQ(V(b.PriID), 0x85);
    EXPECT_EQ(V(b.PriLUN), 0x1122334455667788ull);
    EXPECT_EQ(V(b.SecID), 0x03);
    EXPECT_EQ(V(b.SecLUN), 0x8000000000000002ull);
    EXPECT_EQ(V(b.MajorVer), 4);
    EXPECT_EQ(V(b.MinorVer), 17);
    EXPECT_EQ(V(b.BootcodeValid), 1);

    const SDMBIOS bios = FromBytes<SDMBIOS>(bytes);
    EXPECT_EQ(V(bios.PriLUN), 0x1122334455667788ull);
    EXPECT_EQ(V(bios.BIOSValid), 1);
}

TEST(SdmLayout, BootDhcpLengthsAroundThePaddingByte) {
    uint8_t bytes[62] = {};
    std::memcpy(bytes, "ACMEDISK-BT1", 12);  // 12 characters, no terminator
    bytes[32] = 12;                           // VendorIDLength
    bytes[33] = 0xEE;                         // padding
    bytes[34] = 0x00;                         // UseRequireVIDLearnIQN 0x0700
    bytes[35] = 0x07;
    bytes[36] = 9;                            // AltClientIDLength
    const BOOTCODEDHCP d = FromBytes<BOOTCODEDHCP>(bytes);
    EXPECT_EQ(std::memcmp(d.VendorID, "ACMEDISK-BT1", 12), 0);
    EXPECT_EQ(V(d.Reserved[0]), 0);
    EXPECT_EQ(V(d.VendorIDLength), 12);
    EXPECT_EQ(V(d.UseRequireVIDLearnIQN), 0x0700);
    EXPECT_EQ(V(d.AltClientIDLength), 9);
}

TEST(SdmLayout, ExtendedStatisticsIndexIsTheCounterPosition) {
    HBAPORTSTATISCSIEXTEND ext;
    std::memset(&ext, 0, sizeof ext);
    const uint64_t last = 0x0102030405060708ull;
    ext.Counters[HBAPORTSTATISCSIEXTEND::iSCSISeqErrorCount] = last;
    ext.Counters[HBAPORTSTATISCSIEXTEND::MACTxBytesCount] = 7;

    const uint8_t* raw = reinterpret_cast<const uint8_t*>(&ext);
    EXPECT_EQ(raw[8], 7);
    EXPECT_EQ(raw[536], 0x08);  // index 67, low byte first
    EXPECT_EQ(raw[543], 0x01);
    EXPECT_EQ(raw[544], 0);     // Reserved untouched
    EXPECT_EQ(HBAPORTSTATISCSIEXTEND::CounterCount, 68u);
}

TEST(SdmLayout, ArraysStepByTheLibraryRecordSize) {
    // Buffers that the native methods size by record count.
    EXPECT_EQ(sizeof(CONNERRTABLE[128]), 2560u);
    EXPECT_EQ(sizeof(ARPTABLE[128]), 3584u);
    EXPECT_EQ(sizeof(CHAPTABLE[128]), 46080u);
    EXPECT_EQ(sizeof(SECURITYPOLICY[64]), 51200u);
    EXPECT_EQ(sizeof(SDM_ISNS_DISCOVERED_TARGET[30]), 11760u);
    EXPECT_EQ(sizeof(SDM_ISNS_DISCOVERED_TARGET[512]), 0x31000u);
    EXPECT_EQ(sizeof(IKESA[200]), 16000u);

    // The second connection error entry starts 20 bytes in: its time stamp is
    // the byte the Java flat layout reads as slot 10 of the first entry.
    CONNERRTABLE log[2];
    std::memset(log, 0, sizeof log);
    log[1].timeStamp.seconds = 0x44;
    EXPECT_EQ(reinterpret_cast<const uint8_t*>(log)[20], 0x44);

    // The last transform of a policy ends where NumberOfTransforms begins.
    SECURITYPOLICY p;
    std::memset(&p, 0, sizeof p);
    p.Transforms[15].Level = 0x1234;
    p.NumberOfTransforms = 16;
    const uint8_t* raw = reinterpret_cast<const uint8_t*>(&p);
    EXPECT_EQ(raw[216 + 15 * 24 + 20], 0x34);
    EXPECT_EQ(raw[600], 16);
}

}  // namespace
