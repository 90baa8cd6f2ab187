// Device database entries, node information and device parameters between
// library records and the Java model (DevDBEntry, NodeInfo, DevEntry).
#ifndef DVH_DDB_ENTRIES_H
#define DVH_DDB_ENTRIES_H

#include <jni.h>

#include "marshal.h"
#include "sdm/sdm_api.h"

// Record -> DevDBEntry. 0, 4097, 4098 or 4099 (kStatusJavaThrew when a Java
// accessor threw).
jint setiSCSIDevDDBEntry(JNIEnv* env, jobject javaDevDBEntryObject, const DEVICEENTRYISCSI* pDDB, jint index,
                         jint paramsOnly);
// NODEINFOISCSI <-> NodeInfo and ISCSIDEVICE <-> DevEntry. Failures only
// print; the result is 0 or kStatusJavaThrew.
jint setNodeInfo(JNIEnv* env, jobject jObj, const NODEINFOISCSI* node);
// The same with the caller's IPAddr maker (one per native call).
jint setNodeInfo(JNIEnv* env, jobject jObj, dvh::marshal::IPAddrMaker& addresses, const NODEINFOISCSI* node);
jint getNodeInfo(JNIEnv* env, jobject javaNodeInfoObject, NODEINFOISCSI* node);
jint setiSCSIDevEntry(JNIEnv* env, jobject jObj, const ISCSIDEVICE* device);
jint getiSCSIDevEntry(JNIEnv* env, jobject jObj, ISCSIDEVICE* device);

// The classes a native call meets while it fills many DevDBEntry objects: the
// entries' own (the one they are made from), and those of the NodeInfo and
// DevEntry objects their getters answer, each resolved once per call.
struct DDBClasses {
    DDBClasses(JNIEnv* env, jclass entryClass) : entry(env, entryClass) {}
    dvh::marshal::ClassIds entry;
    dvh::marshal::ClassIds node;
    dvh::marshal::ClassIds device;
    dvh::marshal::IPAddrMaker addresses;
};
// setiSCSIDevDDBEntry on an object known to be of classes.entry's class
// (made from it).
jint fillDevDBEntry(JNIEnv* env, jobject obj, DDBClasses& classes, const DEVICEENTRYISCSI* pDDB, jint index,
                    jint paramsOnly);
// setiSCSIDevEntry through the call's identifiers of the DevEntry class
// (`device` follows jObj).
jint setiSCSIDevEntry(JNIEnv* env, jobject jObj, dvh::marshal::ClassIds& device, const ISCSIDEVICE* record);

// Writes one DevDBEntry to the adapter (flash only for the enabled boot
// device); the native method setDDBData.
jint setDDBDataShared(JNIEnv* env, jint dev, jobject jHba, jobject jDDB);

#endif  // DVH_DDB_ENTRIES_H
