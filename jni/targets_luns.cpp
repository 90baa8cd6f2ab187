// Targets, LUNs and SCSI queries: a target's discovered portal and node into
// the Java target object, a LUN's inquiry strings, capacity and WWULN into the
// Java LUN object, and REPORT LUNS into the target's list of LUNs.
#include "targets_luns.h"

#include <cstdio>
#include <cstring>

#include "adapter_sessions.h"
#include "com_norvik_dvh_iscsi_jni_ApiWrapper.h"
#include "ddb_entries.h"
#include "jni_agent_shared.h"
#include "jni_support.h"
#include "marshal.h"
#include "toolkit.h"

using namespace dvh;
using marshal::Conv;
using marshal::Field;
using marshal::M;
using marshal::method;
using marshal::Method;
using marshal::Msg;

namespace {

constexpr const char* kTargetInfoGetterSig = "()Lcom/norvik/dvh/iscsi/model/TargetInfo;";
constexpr const char* kSCSIInqInfoGetterSig = "()Lcom/norvik/dvh/iscsi/model/SCSIInqInfo;";
constexpr const char* kTargetInfoMissing = "GetMethodID  getTargetInfo call failed!\n";
constexpr const char* kTargetInfoNull = "NULL javaTargetInfoObject!\n";

// Targets reported by the Java side above this are refused.
constexpr uint32_t kMaxJavaTargets = 512;

// REPORT LUNS
constexpr uint32_t kReportLunsSmall = 264;   // header and 32 entries
constexpr uint32_t kReportLunsLarge = 4120;
constexpr uint32_t kSenseSize = 256;
constexpr uint32_t kReportLunsHeader = 8;
constexpr uint32_t kReportLunsEntry = 8;
constexpr uint32_t kHighestLun = 515;
constexpr jint kStatusBadReportLuns = 0x20000075;
constexpr SD_STATUS kStatusReportLunsTolerated = 0x20000077;

// INQUIRY
constexpr uint32_t kInquiryLength = 36;

// READ CAPACITY: the library's marker of a value that was not measured.
constexpr uint32_t kCapacityNotMeasured = 0xfefefefe;
constexpr uint64_t kLargeBlockCount = 0xffffff;

constexpr uint32_t kWwulnLength = 8;

// --- TargetInfo -> TARGETINFORMATION ----------------------------------------

using TI = TARGETINFORMATION;

constexpr Field kTargetInfoFromJava[] = {
    M("getBus", DVH_FIELD(TI, BusNumber), Conv::GetInt),
    M("getLUN", DVH_FIELD(TI, LUN), Conv::GetInt),
    M("getTargetID", DVH_FIELD(TI, TargetID), Conv::GetInt),
    M("getTargetState", DVH_FIELD(TI, TargetState), Conv::GetInt),
    M("getSupportsTest", DVH_FIELD(TI, SupportsTest), Conv::GetBool).mask(1),
    // The library reads the request for a buffer test in the byte after SupportsTest.
    M("getPerformBufferTest", DVH_FIELD(TI, Reserved1), Conv::GetBool).mask(1),
};

// setSupportsTest(false): the flag of a cleared record.
constexpr Field kTargetInfoNotSupported[] = {
    M("setSupportsTest", DVH_FIELD(TI, SupportsTest), Conv::SetBool).mask(1),
};

// --- DISCISCSIPORTAL / DISCISCSINODE -> target object, TargetInfo -----------

using DP = DISCISCSIPORTAL;
using DN = DISCISCSINODE;

// A missing one of the first three ends getiSCSITargetData, reported to Java
// as success; the address goes through setIPAddress as setIPAddr hands it.
constexpr Field kPortalToTarget[] = {
    M("setNodeCount", DVH_FIELD(DP, NodeCount), Conv::SetInt, Msg::Obj),
    M("setHostName", DVH_FIELD(DP, hostName), Conv::SetText, Msg::Obj),
    M("setTCPPortNumber", DVH_FIELD(DP, portNumber), Conv::SetInt, Msg::Obj),
    M("setIPAddress", DVH_FIELD(DP, IPAddr), Conv::SetIPAddr),
};

constexpr Field kNodeToTarget[] = {
    M("setSessionID", DVH_FIELD(DN, SessionID), Conv::SetInt, Msg::Obj),
    M("setConnectionID", DVH_FIELD(DN, ConnectionID), Conv::SetInt, Msg::Obj),
    M("setPortalGroup", DVH_FIELD(DN, PortalGroupID), Conv::SetInt, Msg::Obj),
};

constexpr Field kNodeToTargetInfo[] = {
    M("setBus", DVH_FIELD(DN, TargetInfo.BusNumber), Conv::SetInt, Msg::Obj),
    M("setLUN", DVH_FIELD(DN, TargetInfo.LUN), Conv::SetInt, Msg::Obj),
    M("setTargetID", DVH_FIELD(DN, TargetInfo.TargetID), Conv::SetInt, Msg::Obj),
};

// --- INQUIRY data -> SCSIInqInfo ---------------------------------------------

using SI = SCSI_INQUIRY_DATA_INFO;

// Four messages name the getter although the setter is looked up. A missing
// setter is reported to Java as success.
constexpr Field kInquiryToJava[] = {
    M("setExtraData", DVH_FIELD(SI, cExtraData), Conv::SetText, Msg::Obj).status(kStatusOk),
    M("setInquiryHeader", DVH_FIELD(SI, cInquiryHeader), Conv::SetText, Msg::Obj).status(kStatusOk),
    M("setProductID", DVH_FIELD(SI, cProductID), Conv::SetText)
        .message("GetMethodID getProductID - Obj call failed!\n").status(kStatusOk),
    M("setRevision", DVH_FIELD(SI, cRevision), Conv::SetText)
        .message("GetMethodID getRevision - Obj call failed!\n").status(kStatusOk),
    M("setSerialNumber", DVH_FIELD(SI, cSerialNumber), Conv::SetText)
        .message("GetMethodID getSerialNumber - Obj call failed!\n").status(kStatusOk),
    M("setVendorID", DVH_FIELD(SI, cVendorID), Conv::SetText)
        .message("GetMethodID getVendorID - Obj call failed!\n").status(kStatusOk),
};

// --- Methods called by hand ----------------------------------------------------

constexpr Method kGetNumberDiskTargets = method("getNumberDiskTargets", "()I");
constexpr Method kGetInstance = method("getInstance", "()I");
constexpr Method kGetDeviceDataBaseEntry =
    method("getDeviceDataBaseEntry", "(I)Lcom/norvik/dvh/iscsi/model/DevDBEntry;", Msg::Wide);
constexpr Method kGetEntryTargetID = method("getTargetID", "()I");
constexpr Method kAddLUN = method("addLUN", "(I)V", Msg::Obj);
constexpr Method kSetLogicalBlockAddress = method("setLogicalBlockAddress", "(J)V", Msg::Obj);
constexpr Method kSetBytesPerBlock = method("setBytesPerBlock", "(J)V", Msg::Obj);
constexpr Method kSetWWULNObject = method("setWWULNObject", "([S)V", Msg::Obj);
constexpr Method kGetTargetInfo = method("getTargetInfo", kTargetInfoGetterSig).message(kTargetInfoMissing);
// The node object's lookup keeps the getTargetInfo text.
constexpr Method kGetNodeInfoOfTarget = method("getNodeInfo", kNodeInfoGetterSig).message(kTargetInfoMissing);
constexpr Method kGetSCSIInqInfo =
    method("getSCSIInqInfo", kSCSIInqInfoGetterSig).message("GetMethodID  getSCSIInqInfo call failed!\n");

// What getiSCSITargetData uses on the target object and on its TargetInfo,
// each resolved in one lookup.
constexpr marshal::Part kTargetParts[] = {marshal::part(kGetInstance), marshal::part(kPortalToTarget),
                                          marshal::part(kGetTargetInfo), marshal::part(kNodeToTarget),
                                          marshal::part(kGetNodeInfoOfTarget)};
constexpr marshal::Bundle kTargetBundle = marshal::bundle(kTargetParts);
constexpr marshal::Part kTargetInfoParts[] = {marshal::part(kTargetInfoFromJava), marshal::part(kNodeToTargetInfo)};
constexpr marshal::Bundle kTargetInfoBundle = marshal::bundle(kTargetInfoParts);

static_assert(marshal::validTable(kTargetInfoFromJava) && marshal::validTable(kTargetInfoNotSupported) &&
                  marshal::validTable(kPortalToTarget) && marshal::validTable(kNodeToTarget) &&
                  marshal::validTable(kNodeToTargetInfo) && marshal::validTable(kInquiryToJava),
              "target and LUN accessor tables");

// The TargetInfo object a target or LUN object holds, read into *targetInfo.
jint readHeldTargetInfo(JNIEnv* env, jobject holder, jclass holderClass, TARGETINFORMATION* targetInfo,
                        LocalRef<jobject>* heldObject = nullptr)
{
    LocalRef<jobject> ti;
    DVH_TRY(getObjectField(env, holder, holderClass, kGetTargetInfo, kTargetInfoNull, ti));
    DVH_TRY(getTargetInfo(env, ti.get(), targetInfo));
    if (heldObject)
        *heldObject = std::move(ti);
    return kStatusOk;
}

uint32_t bigEndian32(const uint8_t* p)
{
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}

// addLUN(lunID) on the target object. A missing addLUN ends the walk:
// `ended` is set and `current` (the status of the last REPORT LUNS, 0 or the
// tolerated one) is what the walk returns.
// The target's addLUN, looked up when the first LUN is added and kept for the
// others of the call.
struct LunAdder {
    jobject target;
    jclass targetClass;
    jmethodID addLUN = nullptr;
};

jint addLun(JNIEnv* env, LunAdder& adder, jint lunID, jint current, bool& ended)
{
    if (!adder.addLUN && marshal::resolve(env, adder.targetClass, kAddLUN, adder.addLUN) != kStatusOk) {
        ended = true;
        return current;
    }
    std::printf("About to add LUN:%d\n", lunID);
    return marshal::callVoidId(env, adder.target, adder.addLUN, lunID);
}

// The first test of the methods given a target and an adapter object.
jint targetAndAdapterGiven(jobject jHba, jobject jTarget)
{
    if (!jTarget) {
        std::printf("NULL jTarget!\n");
        return kStatusNullObject;
    }
    if (!jHba) {
        std::printf("NULL jHba!\n");
        return kStatusNullObject;
    }
    return kStatusOk;
}

SD_STATUS sendReportLuns(SDMGT_HANDLE device, TARGETINFORMATION* targetInfo, uint8_t* buffer, uint32_t size,
                         uint8_t* sense)
{
    SD_STATUS status = SDSendScsiReportLunsCmdiSCSI(device, targetInfo, buffer, size, sense, kSenseSize);
    if (status != 0 && status != kStatusReportLunsTolerated)
        std::printf("SDSendScsiReportLunsCmdiSCSI returned %x\n", status);
    return status;
}

}  // namespace

// ---------------------------------------------------------------------------
// Routines shared with other subsystems
// ---------------------------------------------------------------------------

jint getTargetInfo(JNIEnv* env, jobject javaTargetInfoObject, TARGETINFORMATION* pTargetInfo)
{
    if (!javaTargetInfoObject) {
        std::printf("NULL javaTargetInfoObject!\n");
        return kStatusNullObject;
    }
    LocalRef<jclass> cls = objectClass(env, javaTargetInfoObject);
    return marshal::fromJava(env, javaTargetInfoObject, cls.get(), pTargetInfo, kTargetInfoFromJava);
}

void setTargetInfoNotSupported(JNIEnv* env, jobject jObj)
{
    if (!jObj) {
        std::printf("NULL jObj!\n");
        return;
    }
    const TARGETINFORMATION notSupported{};
    LocalRef<jclass> cls = objectClass(env, jObj);
    marshal::toJava(env, jObj, cls.get(), &notSupported, kTargetInfoNotSupported);
}

jint getLocalScsiInquiryData(JNIEnv* env, jobject, jint dev, jobject targetInfoObj, jobject inqObj,
                             SCSI_INQUIRY_DATA_INFO*, TARGETINFORMATION* ptargetInfo)
{
    if (!inqObj) {
        std::printf("NULL inqObj!\n");
        return kStatusNullObject;
    }
    if (!targetInfoObj) {
        std::printf("NULL targetInfoObj!\n");
        return kStatusNullObject;
    }
    std::memset(ptargetInfo, 0, sizeof *ptargetInfo);
    // The strings are read through the whole inquiry record, serial number and
    // extra data included, although only 36 bytes are asked for: the buffer is
    // the full record, cleared, so what the device did not send reads empty.
    SCSI_INQUIRY_DATA_INFO inquiry{};
    uint8_t sense[kSenseSize] = {};
    if (devOutOfRange(dev))
        return kStatusBadIndex;

    DVH_TRY(getTargetInfo(env, targetInfoObj, ptargetInfo));
    SD_STATUS status = SDSendScsiInquiryCmdiSCSI(handleAt(dev), ptargetInfo, reinterpret_cast<uint8_t*>(&inquiry),
                                                 kInquiryLength, sense, kSenseSize);
    if (status != 0) {
        std::printf("SDSendScsiInquiryCmdiSCSI returned %x, target ID = %d\n", status, ptargetInfo->TargetID);
        return static_cast<jint>(status);
    }
    LocalRef<jclass> cls = objectClass(env, inqObj);
    return marshal::toJava(env, inqObj, cls.get(), &inquiry, kInquiryToJava);
}

jint getScsiReadCapacityData(JNIEnv* env, jobject, jint dev, jobject jLun)
{
    if (!jLun) {
        std::printf("NULL jLun!\n");
        return kStatusNullObject;
    }
    TARGETINFORMATION targetInfo{};
    SD_CAPACITY_INFO_STRUC capacity{};
    if (devOutOfRange(dev))
        return kStatusBadIndex;

    LocalRef<jclass> lunClass = objectClass(env, jLun);
    DVH_TRY(readHeldTargetInfo(env, jLun, lunClass.get(), &targetInfo));
    SD_STATUS status = SDSendReadMBCapacity(handleAt(dev), &targetInfo, &capacity);
    if (status != 0) {
        std::printf("SDSendScsiReadCapacityCmdiSCSI returned %x\n", status);
        return static_cast<jint>(status);
    }

    // A missing setter is reported to Java as success.
    jmethodID setLba;
    if (marshal::resolve(env, lunClass.get(), kSetLogicalBlockAddress, setLba) != kStatusOk)
        return kStatusOk;
    // The Java side multiplies the two values it gets: megabytes here, 1 as
    // the block size, unless the library marked a value as not measured.
    const uint64_t lba = capacity.Lba;
    const uint64_t blockLen = capacity.BlockLen;
    uint64_t megabytes = lba;
    if (static_cast<uint32_t>(lba) != kCapacityNotMeasured) {
        // Large block counts are shifted in two steps so that the product
        // stays within 64 bits.
        megabytes = lba > kLargeBlockCount ? ((lba >> 12) * blockLen) >> 8 : (lba * blockLen) >> 20;
        std::printf("JNI-LUN(%d) Size: LBA=0x%x, BlockLength=0x%x,", targetInfo.LUN, static_cast<uint32_t>(lba),
                    static_cast<uint32_t>(lba >> 32));
        std::printf("Mbytes32=%d, Mbytes64=%d\n", static_cast<int>(capacity.Mbytes),
                    static_cast<int>(static_cast<uint32_t>(megabytes)));
    }
    DVH_TRY(marshal::callVoidId(env, jLun, setLba, static_cast<jlong>(megabytes)));

    jmethodID setBytesPerBlock;
    if (marshal::resolve(env, lunClass.get(), kSetBytesPerBlock, setBytesPerBlock) != kStatusOk)
        return kStatusOk;
    const uint64_t bytesPerBlock = static_cast<uint32_t>(blockLen) == kCapacityNotMeasured ? blockLen : 1;
    return marshal::callVoidId(env, jLun, setBytesPerBlock, static_cast<jlong>(bytesPerBlock));
}

jint getLUN_WWULN_Data(JNIEnv* env, jobject, jint dev, jobject jLun, SCSI_INQUIRY_DATA_INFO scsiInqData,
                       TARGETINFORMATION targetInfo)
{
    if (!jLun) {
        std::printf("NULL jLun!\n");
        return kStatusNullObject;
    }
    if (devOutOfRange(dev))
        return kStatusBadIndex;

    // Working records for the registry's routines, which read only the
    // handle, the SCSI address and the 4-byte vendor and product prefixes.
    // They are cleared so that nothing else of them holds stale stack bytes.
    SDMHba hba{};
    SDMTarget target{};
    SDMLun lun{};
    hba.HbaHandle = handleAt(dev);
    target.TargetProperty.TargetInfo.BusNumber = targetInfo.BusNumber;
    target.TargetProperty.TargetInfo.TargetID = targetInfo.TargetID;
    target.TargetProperty.TargetInfo.LUN = targetInfo.LUN;
    std::memcpy(target.TargetVendorID, scsiInqData.cVendorID, 4);
    std::memcpy(target.TargetProductID, scsiInqData.cProductID, 4);

    UpdateTargetWithOEMParametersShared(&hba, &target);
    int32_t status = RetrieveWWULunNumberForLunShared(&hba, &target, &lun);
    if (status != 0) {
        std::printf("RetrieveWWULunNumberForLun returned %x\n", static_cast<unsigned>(status));
        return status;
    }

    LocalRef<jshortArray> array(env, env->NewShortArray(kWwulnLength));
    if (!array)
        return kStatusJavaThrew;  // out of memory, left pending
    jshort wwuln[kWwulnLength];
    std::printf("WWULN in JNI=");
    for (uint32_t i = 0; i < kWwulnLength; ++i) {
        wwuln[i] = lun.WWULN[i];
        std::printf("-%x", wwuln[i]);
    }
    std::printf("\n");
    env->SetShortArrayRegion(array.get(), 0, kWwulnLength, wwuln);

    LocalRef<jclass> lunClass = objectClass(env, jLun);
    if (!lunClass)
        std::printf("javaLunClass is NULL before GetMethodID setWWULNObject!\n");
    return marshal::callVoid(env, jLun, lunClass.get(), kSetWWULNObject, static_cast<jobject>(array.get()));
}

// ---------------------------------------------------------------------------
// Native methods
// ---------------------------------------------------------------------------

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSITargetData(JNIEnv* env, jobject, jint dev,
                                                                                   jobject jHba, jobject jTarget)
{
    DVH_TRY(targetAndAdapterGiven(jHba, jTarget));
    if (devOutOfRange(dev))
        return kStatusBadIndex;

    const SDMGT_HANDLE device = handleAt(dev);
    DISCISCSIPORTAL portal{};
    LocalRef<jclass> targetClass = objectClass(env, jTarget);
    LocalRef<jclass> hbaClass = objectClass(env, jHba);

    jint numberTargets = 0;
    DVH_TRY(marshal::call(env, numberTargets, jHba, hbaClass.get(), kGetNumberDiskTargets));
    // Taken as unsigned, so that a negative count is refused as well.
    if (static_cast<uint32_t>(numberTargets) > kMaxJavaTargets) {
        std::printf("Too many targets from Java!\n");
        return kStatusBadIndex;
    }
    marshal::ClassIds target(env, targetClass.get());
    target.prime(kTargetBundle);
    jint targetInstance = 0;
    DVH_TRY(marshal::call(env, targetInstance, jTarget, target, kGetInstance));

    // With targets known, the instance is a position in the adapter's device
    // database and the entry's target id is used; without, the instance itself.
    if (numberTargets != 0) {
        LocalRef<jobject> entry;
        DVH_TRY(marshal::call(env, entry, jHba, hbaClass.get(), kGetDeviceDataBaseEntry, targetInstance));
        if (!entry) {
            std::printf("NULL javaDDBEntryObject!\n");
            return kStatusNullObject;
        }
        LocalRef<jclass> entryClass = objectClass(env, entry.get());
        DVH_TRY(marshal::call(env, targetInstance, entry.get(), entryClass.get(), kGetEntryTargetID));
    }

    SD_STATUS status = SDGetDiscPortalPropertyiSCSI(device, 0, static_cast<uint32_t>(targetInstance), 0, &portal);
    if (status != 0) {
        std::printf("SDGetDiscPortalPropertyiSCSI returned %x\n", status);
        return static_cast<jint>(status);
    }
    // The host name is read up to its terminating zero, never past its field.
    marshal::IPAddrMaker addresses;  // the portal's and the node's address
    jint javaStatus = marshal::toJava(env, jTarget, target, addresses, &portal, kPortalToTarget);
    if (javaStatus == kStatusLookupFailed)
        return kStatusOk;
    if (javaStatus != kStatusOk)
        return javaStatus;

    LocalRef<jobject> ti;
    DVH_TRY(getObjectField(env, jTarget, target, kGetTargetInfo, kTargetInfoNull, ti));
    // Read, and at the end written, through one set of identifiers.
    marshal::ClassIds targetInfoIds;
    targetInfoIds.follow(env, ti.get());
    targetInfoIds.prime(kTargetInfoBundle);
    TARGETINFORMATION targetInfo{};
    javaStatus = marshal::fromJava(env, ti.get(), targetInfoIds, &targetInfo, kTargetInfoFromJava);
    if (javaStatus != kStatusOk) {
        if (javaStatus != kStatusJavaThrew)
            std::printf("getTargetInfo failed!\n");
        return javaStatus;
    }

    DISCISCSINODE node{};
    status = SDGetDiscNodePropertyiSCSI(device, 0, targetInfo.TargetID, 0, &node);
    if (status != 0) {
        std::printf("SDGetDiscNodePropertyiSCSI returned %x\n", status);
        return static_cast<jint>(status);
    }
    DVH_TRY(marshal::toJava(env, jTarget, target, &node, kNodeToTarget));

    LocalRef<jobject> nodeInfo;
    DVH_TRY(getObjectField(env, jTarget, target, kGetNodeInfoOfTarget, "NULL javaNodeInfoObject!5\n", nodeInfo));
    DVH_TRY(setNodeInfo(env, nodeInfo.get(), addresses, &node.NodeInfo));

    return marshal::toJava(env, ti.get(), targetInfoIds, &node, kNodeToTargetInfo);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getiSCSILunData(JNIEnv* env, jobject obj, jint dev,
                                                                                jobject jLun)
{
    if (!jLun) {
        std::printf("NULL jLun!\n");
        return kStatusNullObject;
    }
    LocalRef<jclass> lunClass = objectClass(env, jLun);
    LocalRef<jobject> ti;
    DVH_TRY(getObjectField(env, jLun, lunClass.get(), kGetTargetInfo, kTargetInfoNull, ti));
    LocalRef<jobject> inq;
    DVH_TRY(getObjectField(env, jLun, lunClass.get(), kGetSCSIInqInfo, "NULL javaSCSIInqInfoObject!\n", inq));

    // The inquiry step does not fill this record; it is handed on cleared, so
    // the vendor matching of the WWULN step sees empty identifiers.
    SCSI_INQUIRY_DATA_INFO scsiInqData{};
    TARGETINFORMATION targetInfo{};
    jint status = getLocalScsiInquiryData(env, obj, dev, ti.get(), inq.get(), &scsiInqData, &targetInfo);
    if (status != kStatusOk) {
        if (status != kStatusJavaThrew)
            std::printf("getLocalScsiInquiryData failed! %x\n", static_cast<unsigned>(status));
        return status;
    }
    status = getScsiReadCapacityData(env, obj, dev, jLun);
    if (status != kStatusOk) {
        if (status != kStatusJavaThrew)
            std::printf("getScsiReadCapacityData failed! %x\n", static_cast<unsigned>(status));
        return status;
    }
    status = getLUN_WWULN_Data(env, obj, dev, jLun, scsiInqData, targetInfo);
    if (status != kStatusOk) {
        if (status != kStatusJavaThrew)
            std::printf("getLUN_WWULN_Data failed! %x\n", static_cast<unsigned>(status));
        return status;
    }
    return kStatusOk;
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getScsiReportLUNsData(JNIEnv* env, jobject, jint dev,
                                                                                      jobject jHba, jobject jTarget)
{
    DVH_TRY(targetAndAdapterGiven(jHba, jTarget));
    TARGETINFORMATION targetInfo{};
    uint8_t small[kReportLunsSmall] = {};
    uint8_t large[kReportLunsLarge] = {};
    uint8_t sense[kSenseSize] = {};
    if (devOutOfRange(dev))
        return kStatusBadIndex;

    LocalRef<jclass> targetClass = objectClass(env, jTarget);
    DVH_TRY(readHeldTargetInfo(env, jTarget, targetClass.get(), &targetInfo));

    const SDMGT_HANDLE device = handleAt(dev);
    SD_STATUS status = sendReportLuns(device, &targetInfo, small, kReportLunsSmall, sense);
    if (status != 0 && status != kStatusReportLunsTolerated)
        return static_cast<jint>(status);
    // A list longer than the whole small buffer is asked for again with the
    // large one; otherwise the small one is sent again.
    uint8_t* buffer = small;
    uint32_t size = kReportLunsSmall;
    if (bigEndian32(small) > kReportLunsSmall) {
        buffer = large;
        size = kReportLunsLarge;
    }
    status = sendReportLuns(device, &targetInfo, buffer, size, sense);
    if (status != 0 && status != kStatusReportLunsTolerated)
        return static_cast<jint>(status);

    const uint32_t length = bigEndian32(buffer);
    std::printf("Num Luns Reported2: %d \n", static_cast<int>(length / kReportLunsEntry));
    // The count is compared with the buffer's size in bytes, not with the
    // number of entries that fit.
    if (length / kReportLunsEntry > kReportLunsLarge) {
        std::printf("JNI: Bad Report Luns Data - LUNs Reported: %x \n", length);
        return kStatusBadReportLuns;
    }
    const jint current = static_cast<jint>(status);
    bool ended = false;
    LunAdder adder{jTarget, targetClass.get()};
    if (length == 0)
        return addLun(env, adder, 0, current, ended);

    // The walk ends at the end of the list or of the buffer, whichever comes
    // first: a list longer than the buffer is read as far as the buffer holds it.
    const uint64_t end = uint64_t{length} + kReportLunsHeader;
    for (uint32_t i = kReportLunsHeader; i < end && i + kReportLunsEntry <= size; i += kReportLunsEntry) {
        // The first two bytes of the entry: address-method bits stay in the
        // high byte, so LUNs not in peripheral addressing come out above 515.
        const jint lunID = buffer[i] * 256 + buffer[i + 1];
        std::printf("LUN ID Calc, i=%d, [i]=%d <<8, [i+1]=%d, LUN ID=%d,", i, buffer[i], buffer[i + 1], lunID);
        if (static_cast<uint32_t>(lunID) <= kHighestLun) {
            jint added = addLun(env, adder, lunID, current, ended);
            if (ended || added != kStatusOk)
                return added;
        }
    }
    return kStatusOk;
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getScsiInquiryData(JNIEnv* env, jobject obj, jint dev,
                                                                                   jobject targetInfoObj,
                                                                                   jobject inqObj)
{
    SCSI_INQUIRY_DATA_INFO scsiInqData{};
    TARGETINFORMATION targetInfo{};
    return getLocalScsiInquiryData(env, obj, dev, targetInfoObj, inqObj, &scsiInqData, &targetInfo);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getScsiReadCapacityData(JNIEnv* env, jobject obj,
                                                                                        jint dev, jobject jLun)
{
    return getScsiReadCapacityData(env, obj, dev, jLun);
}

}  // extern "C"
