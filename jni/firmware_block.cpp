// Firmware initialization block: reading it into the adapter and InitFW
// objects, writing it back as a read-modify-write, factory defaults, restore
// and reset.
#include "firmware_block.h"

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
using marshal::Msg;

namespace {

using IF = INITFWISCSI;

constexpr Field kInitFWToJava[] = {
    M("setFWOptions", DVH_FIELD(IF, FWOptions), Conv::SetShort, Msg::Obj),
    M("setAddFWOptions", DVH_FIELD(IF, addFWOptions), Conv::SetShort, Msg::Obj),
    M("setJumboPacketSize", DVH_FIELD(IF, EthernetMTU), Conv::SetInt, Msg::Obj),
    M("setZIOCount", DVH_FIELD(IF, ZIO), Conv::SetShort),
    M("setVLAN_TCI_TO_InitFW", DVH_FIELD(IF, TCI), Conv::SetInt, Msg::Obj),
    M("setReserved1", DVH_FIELD(IF, Reserved1), Conv::SetByte, Msg::Obj),
    M("setWakeupThreshold", DVH_FIELD(IF, wakeupThreshold), Conv::SetShort, Msg::Obj),
};
// On the InitFW object's DevEntry; a missing setter is reported as 4099.
constexpr Field kInitFWDevEntryToJava[] = {
    M("setTaskManagementTimeout", DVH_FIELD(IF, taskMngmntTimeout), Conv::SetShort)
        .status(kStatusNullObject)
        .trace("InitFW taskMngmntTimeout=%d\n"),
    M("setRxTCPWindowScale", DVH_FIELD(IF, TCPWindowScaleFactor), Conv::SetShort)
        .status(kStatusNullObject)
        .trace("InitFW TCPWindowScaleFactor=%d\n"),
};

constexpr Field kInitFWFromJava[] = {
    M("getFWOptions", DVH_FIELD(IF, FWOptions), Conv::GetShort, Msg::Obj),
    M("getAddFWOptions", DVH_FIELD(IF, addFWOptions), Conv::GetShort, Msg::Obj),
    M("getJumboPacketSize", DVH_FIELD(IF, EthernetMTU), Conv::GetInt),
    M("getZIOCount", DVH_FIELD(IF, ZIO), Conv::GetShort),
    M("getVLAN_TCI", DVH_FIELD(IF, TCI), Conv::GetInt)
        .trace("Called getVLAN_TCI(), value:0x%x\n"),
};
constexpr Field kInitFWDevEntryFromJava[] = {
    M("getTaskManagementTimeout", DVH_FIELD(IF, taskMngmntTimeout), Conv::GetShort)
        .status(kStatusNullObject)
        .trace("taskMngmntTimeout from GUI(for INITFWISCSI)=%d\n"),
    M("getRxTCPWindowScale", DVH_FIELD(IF, TCPWindowScaleFactor), Conv::GetShort)
        .status(kStatusNullObject)
        .trace("getRxTCPWindowScale() from GUI (for INITFWISCSI)=%d\n"),
};
// The node's name and alias go into the block; the name is cut at 224 bytes.
constexpr Field kNodeNamesIntoBlock[] = {
    M("getiSCSIName", DVH_FIELD(IF, iSCSIName), Conv::GetText, Msg::Wide)
        .bound(224),
    M("getAlias", DVH_FIELD(IF, Alias), Conv::GetText, Msg::Wide)
        .bound(sizeof(IF::Alias)),
};
constexpr Field kAdapterTcpWindowFromJava[] = {
    M("getHBA_Level_TCPMaxWindowSize", 0, 2, Conv::GetInt),
};

static_assert(marshal::validTable(kInitFWToJava) && marshal::validTable(kInitFWDevEntryToJava) &&
                  marshal::validTable(kInitFWFromJava) && marshal::validTable(kInitFWDevEntryFromJava) &&
                  marshal::validTable(kNodeNamesIntoBlock) && marshal::validTable(kAdapterTcpWindowFromJava),
              "firmware block accessor tables");

// The adapter object's addresses, read in this order by setFWData (only the
// 16 address bytes of each; the record keeps its Type).
constexpr Field kAddressesFromJava[] = {
    M("getIPAddress", DVH_FIELD(IF, IPAddr), Conv::GetIPAddr).message("GetMethodID  getIPAddr call failed!\n"),
    M("getGateway", DVH_FIELD(IF, Gateway), Conv::GetIPAddr, Msg::Wide),
    M("getSubnetMask", DVH_FIELD(IF, SubnetMask), Conv::GetIPAddr, Msg::Wide),
    M("getPrimaryDNS", offsetof(IF, PrimaryDNS) + offsetof(DNS, IPAddr), sizeof(ISCSIIPADDR), Conv::GetIPAddr, Msg::Wide),
    M("getSlpDa", DVH_FIELD(IF, SLPDAAddr), Conv::GetIPAddr, Msg::Wide),
};
static_assert(marshal::validTable(kAddressesFromJava), "adapter address getters");

// The getters setFWData reads through; the lookup of getInitFW reports
// itself with the alias text.
constexpr marshal::Method kNodeInfoOfAdapter =
    marshal::method("getNodeInfo", kNodeInfoGetterSig).message("GetMethodID  getNodeInfo call failed!\n");
constexpr marshal::Method kInitFWToRead =
    marshal::method("getInitFW", kInitFWGetterSig).message("GetMethodID  getAlias call failed!\n");
constexpr marshal::Method kDevEntryOfInitFW =
    marshal::method("getDevEntry", kDevEntryGetterSig).message("GetMethodID  getDevEntry call failed!\n");

// Reads the adapter object's side of the block into `block`; 0 or the status
// that ends setFWData before anything is written.
jint readBlockFromJava(JNIEnv* env, jobject jHba, INITFWISCSI& block)
{
    LocalRef<jclass> hbaClass = objectClass(env, jHba);
    DVH_TRY(marshal::fromJava(env, jHba, hbaClass.get(), &block, kAddressesFromJava));

    LocalRef<jobject> nodeInfo;
    DVH_TRY(getObjectField(env, jHba, hbaClass.get(), kNodeInfoOfAdapter, "NULL javaNodeInfoObject!4\n", nodeInfo));
    LocalRef<jclass> nodeClass = objectClass(env, nodeInfo.get());
    DVH_TRY(marshal::fromJava(env, nodeInfo.get(), nodeClass.get(), &block, kNodeNamesIntoBlock));

    LocalRef<jobject> initFW;
    DVH_TRY(getObjectField(env, jHba, hbaClass.get(), kInitFWToRead, "NULL javaInitFWObject!\n", initFW));
    LocalRef<jclass> initFWClass = objectClass(env, initFW.get());
    DVH_TRY(marshal::fromJava(env, initFW.get(), initFWClass.get(), &block, kInitFWFromJava));

    LocalRef<jobject> devEntry;
    DVH_TRY(getObjectField(env, initFW.get(), initFWClass.get(), kDevEntryOfInitFW, "NULL javaDevEntryObject!\n", devEntry));
    DVH_TRY(getiSCSIDevEntry(env, devEntry.get(), &block.DeviceInfo));
    LocalRef<jclass> devEntryClass = objectClass(env, devEntry.get());
    DVH_TRY(marshal::fromJava(env, devEntry.get(), devEntryClass.get(), &block, kInitFWDevEntryFromJava));
    return kStatusOk;
}

constexpr marshal::Method kInitFWOfAdapter =
    marshal::method("getInitFW", kInitFWGetterSig).message("GetMethodID  getInitFW call failed!\n");

}  // namespace

jint getInitFW(JNIEnv* env, jobject jInitFW, const INITFWISCSI* pInitFW)
{
    if (!jInitFW) {
        std::printf("NULL javaInitFWObject!\n");
        return kStatusNullObject;
    }
    marshal::ClassIds cls;
    cls.follow(env, jInitFW);
    DVH_TRY(marshal::toJava(env, jInitFW, cls, pInitFW, kInitFWToJava));
    LocalRef<jobject> devEntry;
    DVH_TRY(getObjectField(env, jInitFW, cls, kDevEntryOfInitFW, "NULL javaDevEntryObject!\n", devEntry));
    marshal::ClassIds devEntryClass;
    DVH_TRY(setiSCSIDevEntry(env, devEntry.get(), devEntryClass, &pInitFW->DeviceInfo));
    DVH_TRY(marshal::toJava(env, devEntry.get(), devEntryClass, pInitFW, kInitFWDevEntryToJava));
    return kStatusOk;
}

jint getFWData(JNIEnv* env, jobject, jint dev, jobject jObj)
{
    if (!jObj) {
        std::printf("NULL jObj!\n");
        return kStatusNullObject;
    }
    INITFWISCSI block{};
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    SDMGT_HANDLE handle = handleAt(dev);
    SD_STATUS status = SDGetInitFW(handle, &block);
    if (status != 0) {
        std::printf("SDGetInitFW call failed! 2\n");
        return static_cast<jint>(status);
    }
    std::printf("\n** Getting HBA Port Data From HBA[handle:index]=%d:%d ***** \n", handle, dev);
    // The five addresses share one IPAddr maker and the adapter's identifiers.
    marshal::ClassIds cls;
    cls.follow(env, jObj);
    marshal::IPAddrMaker addresses;
    DVH_TRY(setIPAddr(env, jObj, cls, addresses, &block.IPAddr, kAddrIPAddress));
    DVH_TRY(setIPAddr(env, jObj, cls, addresses, &block.Gateway, kAddrGateway));
    DVH_TRY(setIPAddr(env, jObj, cls, addresses, &block.SubnetMask, kAddrSubnetMask));
    DVH_TRY(setIPAddr(env, jObj, cls, addresses, &block.PrimaryDNS.IPAddr, kAddrPrimaryDNS));
    DVH_TRY(setIPAddr(env, jObj, cls, addresses, &block.SLPDAAddr, kAddrSlpDa));

    LocalRef<jobject> initFW;
    DVH_TRY(getObjectField(env, jObj, cls, kInitFWOfAdapter, "NULL javaInitFWObject!\n", initFW));
    return getInitFW(env, initFW.get(), &block);
}

namespace {

jint setFWDataShared(JNIEnv* env, jint dev, jobject jHba)
{
    INITFWISCSI block{};
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    // A read-modify-write: what Java does not give keeps the library's value.
    if (SDGetInitFW(handleAt(dev), &block) != 0)
        std::printf("SDGetInitFW call failed!\n");
    if (!jHba) {
        std::printf("NULL jHba!\n");
        return kStatusNullObject;
    }
    DVH_TRY(readBlockFromJava(env, jHba, block));

    if (devOutOfRange(dev))
        return kStatusBadIndex;
    SDMGT_HANDLE handle = handleAt(dev);
    SD_STATUS status = SDSetInitFW(handle, &block);
    if (status != 0)
        std::printf("SDSetInitFW call failed!\n");

    LocalRef<jclass> hbaClass = objectClass(env, jHba);
    jmethodID getAlias = methodId(env, hbaClass.get(), "getHBA_Level_Alias", kStringGetterSig);
    if (!getAlias) {
        std::printf("GetMethodID  getHBA_Level_Alias call failed!\n");
        return kStatusLookupFailed;
    }
    LocalRef<jstring> alias(env, static_cast<jstring>(env->CallObjectMethod(jHba, getAlias)));
    if (thrown(env))
        return kStatusJavaThrew;
    if (alias) {
        UtfChars chars(env, alias.get());
        if (!chars)
            return kStatusJavaThrew;
        char buffer[65] = {};
        std::strncpy(buffer, chars.get(), 64);
        status |= SDSetHBAAlias(handle, buffer);
        if (status != 0)
            std::printf("SDSetHBAAlias call failed!\n");
    }

    uint16_t window = 0;
    DVH_TRY(marshal::fromJava(env, jHba, hbaClass.get(), &window, kAdapterTcpWindowFromJava));
    std::printf("HBA level TCP max window size from GUI=%u (0x%x)\n", window, window);
    status |= SDSetTCPMaxWindowSize(handle, window);
    return static_cast<jint>(status);
}

}  // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getFWData(JNIEnv* env, jobject obj, jint dev,
                                                                          jobject jObj)
{
    return getFWData(env, obj, dev, jObj);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_setFWData(JNIEnv* env, jobject, jint dev, jobject jHba)
{
    return setFWDataShared(env, dev, jHba);
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getISCSIFWDefaults(JNIEnv* env, jobject, jint dev,
                                                                                   jobject jInitFW)
{
    INITFWISCSI block{};
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    SD_STATUS status = SDGetFWDefaults(handleAt(dev), &block);
    if (status != 0) {
        std::printf("FAILED: %x \n", status);
        return static_cast<jint>(status);
    }
    return getInitFW(env, jInitFW, &block);
}

JNIEXPORT jboolean JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_setISCSIDefaults(JNIEnv*, jobject, jint dev)
{
    INITFWISCSI block{};
    if (devOutOfRange(dev))
        return JNI_FALSE;
    SD_STATUS status = SDSetFWDefaults(handleAt(dev), &block);
    if (status != 0) {
        std::printf("FAILED: %x \n", status);
        return JNI_FALSE;
    }
    return JNI_TRUE;
}

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_restoreDefaults(JNIEnv*, jobject, jint dev,
                                                                                jint jregionMask, jint jdetailMask)
{
    if (devOutOfRange(dev))
        return 1;
    SDMGT_HANDLE handle = handleAt(dev);
    CoreLogMessageShared(kLogInfo, "Restore Defaults for iSCSI Adapter! Device:%d, RegionMask:0x%x, DetailMask:0x%x \n",
                         handle, jregionMask, jdetailMask);
    if (SDRestoreDefaults(handle, static_cast<uint32_t>(jregionMask), static_cast<uint32_t>(jdetailMask)) == 0)
        return 0;
    std::printf("SDRestoreDefaults call failed!\n");
    return 1;
}

JNIEXPORT jboolean JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_resetISCSIHBA(JNIEnv*, jobject, jint dev)
{
    if (devOutOfRange(dev))
        return JNI_FALSE;
    HBARESET reset{};
    if (SDResetHBA(handleAt(dev), &reset) != 0) {
        std::printf("SDResetHBA call failed!\n");
        return JNI_FALSE;
    }
    return JNI_TRUE;
}

}  // extern "C"
