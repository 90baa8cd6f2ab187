// Device database entries, node information and device parameters between
// library records and the Java model (DevDBEntry, NodeInfo, DevEntry).
#ifndef DVH_DDB_ENTRIES_H
#define DVH_DDB_ENTRIES_H

#include <jni.h>

#include "sdm/sdm_api.h"

// Record -> DevDBEntry. 0, 4097, 4098 or 4099 (kStatusJavaThrew when a Java
// accessor threw).
jint setiSCSIDevDDBEntry(JNIEnv* env, jobject javaDevDBEntryObject, const DEVICEENTRYISCSI* pDDB, jint index,
                         jint paramsOnly);
// NODEINFOISCSI <-> NodeInfo and ISCSIDEVICE <-> DevEntry. Failures only
// print; the result is 0 or kStatusJavaThrew.
jint setNodeInfo(JNIEnv* env, jobject jObj, const NODEINFOISCSI* node);
jint getNodeInfo(JNIEnv* env, jobject javaNodeInfoObject, NODEINFOISCSI* node);
jint setiSCSIDevEntry(JNIEnv* env, jobject jObj, const ISCSIDEVICE* device);
jint getiSCSIDevEntry(JNIEnv* env, jobject jObj, ISCSIDEVICE* device);

// Writes one DevDBEntry to the adapter (flash only for the enabled boot
// device); the native method setDDBData.
jint setDDBDataShared(JNIEnv* env, jint dev, jobject jHba, jobject jDDB);

#endif  // DVH_DDB_ENTRIES_H
