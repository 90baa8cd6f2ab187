// Boot configuration: the boot code's settings (SDMBOOTCODE) and its DHCP
// options (BOOTCODEDHCP) to and from the BootInfo model object.
//
// The DHCP options exist only on the newer chips: the BootInfo object says
// through is6110() whether they are to be left out.
#include <cstdio>
#include <cstring>

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "jni_support.h"
#include "marshal.h"

using namespace dvh;
using marshal::Conv;
using marshal::M;
using marshal::Msg;
using marshal::Field;

namespace {

using BC = SDMBOOTCODE;

constexpr uint8_t kTargetValid = 0x80;
constexpr uint16_t kFlagSpinDelay = 0x0001;
constexpr uint16_t kFlagDisabled = 0x0002;
// DHCP option word when the high byte of the boot code flags is 2.
constexpr uint16_t kRequireVidLearnIqn = 0x0700;
constexpr uint8_t kDhcpTextMax = sizeof(BOOTCODEDHCP::VendorID);
static_assert(sizeof(BOOTCODEDHCP::AltClientID) == kDhcpTextMax, "both DHCP texts are 12 bytes");

// What BootInfo's setters receive: the record as Java sees it. Target ids go
// over with the valid bit flipped, so a valid target shows its bare id and
// an invalid one its id + 128.
struct BootCodeView {
    uint16_t flags;
    uint8_t bootcodeValid;
    uint8_t priId;
    uint8_t secId;
    uint8_t priTgt;
    uint8_t secTgt;
    uint64_t priLun;
    uint64_t secLun;
    uint8_t majorVer;
    uint8_t minorVer;
};

BootCodeView viewOf(const SDMBOOTCODE& b)
{
    return BootCodeView{b.Flags,
                        b.BootcodeValid,
                        b.PriID,
                        b.SecID,
                        static_cast<uint8_t>(b.PriID ^ kTargetValid),
                        static_cast<uint8_t>(b.SecID ^ kTargetValid),
                        b.PriLUN,
                        b.SecLUN,
                        b.MajorVer,
                        b.MinorVer};
}

using BV = BootCodeView;
constexpr Field kBootCodeToJava[] = {
    M("setBootCodeFlags", DVH_FIELD(BV, flags), Conv::SetInt),
    M("setBootCodeValid", DVH_FIELD(BV, bootcodeValid), Conv::SetInt),
    M("setPri_valid", DVH_FIELD(BV, priId), Conv::SetBool)
        .mask(kTargetValid),
    M("setSec_valid", DVH_FIELD(BV, secId), Conv::SetBool)
        .mask(kTargetValid),
    M("setPri_Tgt", DVH_FIELD(BV, priTgt), Conv::SetByte),
    M("setSec_Tgt", DVH_FIELD(BV, secTgt), Conv::SetByte),
    M("setPri_Lun", DVH_FIELD(BV, priLun), Conv::SetLong),
    M("setSec_Lun", DVH_FIELD(BV, secLun), Conv::SetLong),
};
// Called one by one whatever happened before; each one's status replaces the last.
constexpr Field kMajorVersionToJava[] = {M("setMajorVersion", DVH_FIELD(BV, majorVer), Conv::SetInt)};
constexpr Field kMinorVersionToJava[] = {M("setMinorVersion", DVH_FIELD(BV, minorVer), Conv::SetInt)};

// The running boot code's view: enabled while the disabled bit is clear.
struct RunningView {
    uint8_t enabled;
    uint8_t spinDelay;
};
constexpr Field kRunningToJava[] = {
    M("setEnabled", DVH_FIELD(RunningView, enabled), Conv::SetBool)
        .mask(1),
    M("setSpin_delay", DVH_FIELD(RunningView, spinDelay), Conv::SetBool)
        .mask(1),
};

// Read in two steps so that the ids as Java gave them (before the valid
// bits are applied) can be traced.
constexpr Field kBootIdsFromJava[] = {
    M("getBootCodeFlags", DVH_FIELD(BC, Flags), Conv::GetInt),
    M("getPri_Tgt", DVH_FIELD(BC, PriID), Conv::GetInt),
    M("getSec_Tgt", DVH_FIELD(BC, SecID), Conv::GetInt),
};
constexpr Field kBootRestFromJava[] = {
    M("getPri_valid", DVH_FIELD(BC, PriID), Conv::GetBool)
        .mask(kTargetValid),
    M("getSec_valid", DVH_FIELD(BC, SecID), Conv::GetBool)
        .mask(kTargetValid),
    M("getPri_Lun", DVH_FIELD(BC, PriLUN), Conv::GetLong),
    M("getSec_Lun", DVH_FIELD(BC, SecLUN), Conv::GetLong),
};

// The answer of is6110().
struct ChipAnswer {
    uint8_t is6110;
};
constexpr Field kIs6110[] = {
    M("is6110", DVH_FIELD(ChipAnswer, is6110), Conv::GetBool, Msg::Obj).mask(1),
};

// The DHCP texts as Java receives them: empty when their length is 0.
struct DhcpView {
    char vendorId[kDhcpTextMax];
    char altClientId[kDhcpTextMax];
};
constexpr Field kDhcpToJava[] = {
    M("setVendorID", DVH_FIELD(DhcpView, vendorId), Conv::SetText),
    M("setAltClientID", DVH_FIELD(DhcpView, altClientId), Conv::SetText),
};

constexpr Field kVendorIdLengthFromJava[] = {
    M("getVendorIDLength", DVH_FIELD(BOOTCODEDHCP, VendorIDLength), Conv::GetInt),
};
constexpr Field kAltClientIdLengthFromJava[] = {
    M("getAltClientIDLength", DVH_FIELD(BOOTCODEDHCP, AltClientIDLength), Conv::GetInt),
};
// A DHCP text as Java gives it, cut at the field's 12 bytes and terminated.
struct DhcpText {
    char text[kDhcpTextMax + 1];
};
constexpr Field kVendorIdFromJava[] = {
    M("getVendorID", DVH_FIELD(DhcpText, text), Conv::GetText)
        .message("GetMethodID call failed!\n")
        .bound(kDhcpTextMax),
};
constexpr Field kAltClientIdFromJava[] = {
    M("getAltClientID", DVH_FIELD(DhcpText, text), Conv::GetText)
        .message("GetMethodID call failed!\n")
        .bound(kDhcpTextMax),
};

static_assert(marshal::validTable(kBootCodeToJava) && marshal::validTable(kMajorVersionToJava) &&
                  marshal::validTable(kMinorVersionToJava) &&
                  marshal::validTable(kRunningToJava) && marshal::validTable(kBootIdsFromJava) &&
                  marshal::validTable(kBootRestFromJava) && marshal::validTable(kIs6110) &&
                  marshal::validTable(kDhcpToJava) && marshal::validTable(kVendorIdLengthFromJava) &&
                  marshal::validTable(kAltClientIdLengthFromJava) &&
                  marshal::validTable(kVendorIdFromJava) && marshal::validTable(kAltClientIdFromJava),
              "boot configuration accessor tables");

// Asks is6110() and prints the answer. 0 (answer in `is6110`), 4097 or kStatusJavaThrew.
jint askIs6110(JNIEnv* env, jobject jObj, jclass cls, bool& is6110)
{
    ChipAnswer answer{};
    DVH_TRY(marshal::fromJava(env, jObj, cls, &answer, kIs6110));
    std::printf(" JNI Result from is6110(): %d \n", answer.is6110);
    is6110 = answer.is6110 == 1;
    return kStatusOk;
}

jint readBootcode(SDMGT_HANDLE handle, SDMBOOTCODE& bootcode)
{
    SD_STATUS status = SDGetBootcodeInfo(handle, &bootcode);
    if (status != 0)
        std::printf("SDGetBootcodeInfo call failed! %x\n", status);
    return static_cast<jint>(status);
}

// One DHCP text from Java: its getter is only asked when `length` (as Java
// gave it) is not 0. The copy is bounded by the length, clamped to the
// 12-byte field, and so is the length the adapter receives.
template <size_t N>
jint dhcpTextFromJava(JNIEnv* env, jobject jObj, jclass cls, const Field (&getter)[N], uint8_t* field,
                      uint8_t& length)
{
    if (length > kDhcpTextMax)
        length = kDhcpTextMax;
    if (length == 0)
        return kStatusOk;
    DhcpText given{};
    DVH_TRY(marshal::fromJava(env, jObj, cls, &given, getter));
    std::strncpy(reinterpret_cast<char*>(field), given.text, length);
    return kStatusOk;
}

// The start of every boot method: the index test, then the object.
jint checkAdapterAndObject(jint dev, jobject jObj)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    if (!jObj) {
        std::printf("NULL javaHBAObject!\n");
        return kStatusNullObject;
    }
    return kStatusOk;
}

jint getBootInfo(JNIEnv* env, jint dev, jobject jObj)
{
    DVH_TRY(checkAdapterAndObject(dev, jObj));
    SDMGT_HANDLE handle = handleAt(dev);
    SDMBOOTCODE bootcode{};
    DVH_TRY(readBootcode(handle, bootcode));

    LocalRef<jclass> cls = objectClass(env, jObj);
    const BootCodeView view = viewOf(bootcode);
    jint status = marshal::toJava(env, jObj, cls.get(), &view, kBootCodeToJava);
    if (status == kStatusJavaThrew)
        return status;
    // The versions are set even after a failure above, and their status is
    // the one that counts.
    status = marshal::toJava(env, jObj, cls.get(), &view, kMajorVersionToJava);
    if (status == kStatusJavaThrew)
        return status;
    status = marshal::toJava(env, jObj, cls.get(), &view, kMinorVersionToJava);
    if (status == kStatusJavaThrew)
        return status;
    if (status != kStatusOk)
        return status;

    bool is6110 = false;
    DVH_TRY(askIs6110(env, jObj, cls.get(), is6110));
    if (is6110) {
        std::printf(" Skipping Bootcode DHCP GET SET Operation, is6110 \n");
        return status;
    }
    BOOTCODEDHCP dhcp{};
    status = static_cast<jint>(SDGetBootcodeDhcp(handle, &dhcp));
    // The texts are not terminated when 12 long: they go over cut at 12 bytes.
    DhcpView texts{};
    if (dhcp.VendorIDLength != 0)
        std::memcpy(texts.vendorId, dhcp.VendorID, sizeof texts.vendorId);
    if (dhcp.AltClientIDLength != 0)
        std::memcpy(texts.altClientId, dhcp.AltClientID, sizeof texts.altClientId);
    DVH_TRY(marshal::toJava(env, jObj, cls.get(), &texts, kDhcpToJava));
    return status;
}

jint getRunningBIOSInfo(JNIEnv* env, jint dev, jobject jObj)
{
    DVH_TRY(checkAdapterAndObject(dev, jObj));
    SDMGT_HANDLE handle = handleAt(dev);
    SDMBOOTCODE bootcode{};
    DVH_TRY(readBootcode(handle, bootcode));
    const RunningView view{static_cast<uint8_t>((bootcode.Flags & kFlagDisabled) == 0),
                           static_cast<uint8_t>((bootcode.Flags & kFlagSpinDelay) != 0)};
    LocalRef<jclass> cls = objectClass(env, jObj);
    return marshal::toJava(env, jObj, cls.get(), &view, kRunningToJava);
}

jint setBootInfo(JNIEnv* env, jint dev, jobject jObj)
{
    DVH_TRY(checkAdapterAndObject(dev, jObj));
    SDMGT_HANDLE handle = handleAt(dev);
    SDMBOOTCODE bootcode{};
    LocalRef<jclass> cls = objectClass(env, jObj);
    jint status = marshal::fromJava(env, jObj, cls.get(), &bootcode, kBootIdsFromJava);
    const SDMBOOTCODE asGiven = bootcode;
    if (status == kStatusOk)
        status = marshal::fromJava(env, jObj, cls.get(), &bootcode, kBootRestFromJava);
    if (status == kStatusJavaThrew)
        return status;

    // The first line's flags column has always shown 0.
    std::printf("\n***SetBootCodeDataL  hba-h[%d] Flags:0x%x PriID:0x%x LU:0x%x SecID:0x%x LU:0x%x\n", handle, 0u,
                asGiven.PriID, static_cast<uint32_t>(bootcode.PriLUN), asGiven.SecID,
                static_cast<uint32_t>(bootcode.SecLUN));
    std::printf("\n***SetBootCodeDataSD hba-h[%d] Flags:0x%x PriID:0x%x LU:0x%x SecID:0x%x LU:0x%x\n\n", handle,
                bootcode.Flags, bootcode.PriID, static_cast<uint32_t>(bootcode.PriLUN), bootcode.SecID,
                static_cast<uint32_t>(bootcode.SecLUN));

    // Written even when an accessor was missing: what was read goes to the adapter.
    SD_STATUS sdStatus = SDSetBootcodeInfo(handle, &bootcode);
    if (sdStatus != 0) {
        std::printf("SDSetBootcodeInfo call failed! %x\n", sdStatus);
        return static_cast<jint>(sdStatus);
    }
    status = kStatusOk;

    bool is6110 = false;
    DVH_TRY(askIs6110(env, jObj, cls.get(), is6110));
    if (is6110) {
        std::printf(" Skipping Boot Code DHCP GET SET Operation, is6110 \n");
        return status;
    }
    // A missing length getter leaves that length 0 and the options are still
    // written; a missing text getter ends the call.
    BOOTCODEDHCP dhcp{};
    status = marshal::fromJava(env, jObj, cls.get(), &dhcp, kVendorIdLengthFromJava);
    if (status == kStatusOk)
        DVH_TRY(dhcpTextFromJava(env, jObj, cls.get(), kVendorIdFromJava, dhcp.VendorID, dhcp.VendorIDLength));
    if (status == kStatusOk) {
        status = marshal::fromJava(env, jObj, cls.get(), &dhcp, kAltClientIdLengthFromJava);
        if (status == kStatusOk)
            DVH_TRY(dhcpTextFromJava(env, jObj, cls.get(), kAltClientIdFromJava, dhcp.AltClientID,
                                     dhcp.AltClientIDLength));
    }
    if (status == kStatusJavaThrew)
        return status;
    dhcp.UseRequireVIDLearnIQN = (bootcode.Flags >> 8) == 2 ? kRequireVidLearnIqn : 0;
    return static_cast<jint>(SDSetBootcodeDhcp(handle, &dhcp));
}

}  // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getBootInfo(JNIEnv* env, jobject, jint dev, jobject jObj)
{
    return getBootInfo(env, dev, jObj);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getRunningBIOSInfo(JNIEnv* env, jobject, jint dev,
                                                                                   jobject jObj)
{
    return getRunningBIOSInfo(env, dev, jObj);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_setBootInfo(JNIEnv* env, jobject, jint dev, jobject jObj)
{
    return setBootInfo(env, dev, jObj);
}

}  // extern "C"
