// Vital product data and firmware update: VPD fields cut from the adapter's
// VPD image into the Java VPD object, and an image file written to flash.
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

// The vendor id that asks the library for the adapter's VPD image.
constexpr uint32_t kVpdVendorId = 0x02010000;
// Image type of the boot code, and the status after which its region is erased.
constexpr jint kImageBootcode = 6;
constexpr SD_STATUS kStatusBootcodeEraseNeeded = 0x2000008F;

// The fields sit at fixed positions of the image (identifier string, then
// the read-only keywords in one order); names and lengths in the image are
// not read.
struct VpdCut {
    uint32_t from;    // first byte in VPDData
    uint32_t length;  // bytes copied
    uint32_t to;      // offset in IBMVPDDATA; a NUL follows the copy
    uint32_t width;   // size of that field
};
#define DVH_VPD_CUT(from, length, member) \
    VpdCut { from, length, offsetof(IBMVPDDATA, member), sizeof(IBMVPDDATA::member) }
constexpr VpdCut kVpdCuts[] = {
    DVH_VPD_CUT(3, 42, ProductDescription), DVH_VPD_CUT(51, 7, PartNumber), DVH_VPD_CUT(61, 6, ECLevel),
    DVH_VPD_CUT(70, 7, ManufactureID),      DVH_VPD_CUT(80, 7, FRUNumber),  DVH_VPD_CUT(90, 4, CCIN),
    DVH_VPD_CUT(97, 2, BRAND),
};
#undef DVH_VPD_CUT

constexpr bool cutsFit()
{
    for (const VpdCut& c : kVpdCuts)
        if (c.from + c.length > sizeof(VPD_INFO::VPDData) || c.length + 1 > c.width)
            return false;
    return true;
}
static_assert(cutsFit(), "every VPD field lies inside the image and leaves room for its NUL");

using VD = IBMVPDDATA;
constexpr Field kVpdToJava[] = {
    M("setProductDescription", DVH_FIELD(VD, ProductDescription), Conv::SetText),
    M("setPartNumber", DVH_FIELD(VD, PartNumber), Conv::SetText),
    M("setManufactureID", DVH_FIELD(VD, ManufactureID), Conv::SetText),
    M("setFRUNumber", DVH_FIELD(VD, FRUNumber), Conv::SetText),
    M("setECLevel", DVH_FIELD(VD, ECLevel), Conv::SetText),
    M("setCCIN", DVH_FIELD(VD, CCIN), Conv::SetText),
    M("setBrand", DVH_FIELD(VD, BRAND), Conv::SetText),
};
static_assert(marshal::validTable(kVpdToJava), "VPD accessor table");

IBMVPDDATA cutVpd(const VPD_INFO& vpd)
{
    IBMVPDDATA fields{};
    auto* out = reinterpret_cast<uint8_t*>(&fields);
    for (const VpdCut& c : kVpdCuts)
        std::memcpy(out + c.to, vpd.VPDData + c.from, c.length);
    return fields;
}

}  // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_getIBMVPD(JNIEnv* env, jobject, jint dev, jobject vpdObj)
{
    if (devOutOfRange(dev))
        return kStatusBadIndex;
    // No object to fill: refused before the adapter is asked.
    if (!vpdObj) {
        std::printf("NULL vpdObj!\n");
        return kStatusNullObject;
    }
    VPD_INFO vpd{};
    vpd.VendorID = kVpdVendorId;
    // The status is not looked at: a failed read delivers what the record holds.
    SDGetVPDInfo(handleAt(dev), &vpd);
    const IBMVPDDATA fields = cutVpd(vpd);
    LocalRef<jclass> cls = objectClass(env, vpdObj);
    DVH_TRY(marshal::toJava(env, vpdObj, cls.get(), &fields, kVpdToJava));
    return kStatusOk;
}

JNIEXPORT jboolean JNICALL Java_com_norvik_dvh_iscsi_jni_ApiWrapper_iSCSIUpdateFW(JNIEnv* env, jobject, jint dev,
                                                                                  jstring fName, jint type)
{
    // The characters are released on every path, the index test's included.
    UtfChars path(env, fName);
    if (devOutOfRange(dev))
        return JNI_FALSE;
    if (!path) {
        if (!thrown(env))
            std::printf("NULL fName!\n");
        return JNI_FALSE;
    }
    SDMGT_HANDLE handle = handleAt(dev);
    SD_STATUS status = SDUpdateiSCSIFW(handle, path.get(), static_cast<uint16_t>(type));
    // A boot code image the library refuses until its region is erased:
    // the region is erased so that the next attempt can succeed.
    if (status == kStatusBootcodeEraseNeeded && type == kImageBootcode)
        SDEraseBootCode(handle);
    return status == 0 ? JNI_TRUE : JNI_FALSE;
}

}  // extern "C"
