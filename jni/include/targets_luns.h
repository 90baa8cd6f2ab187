// Targets, LUNs and the SCSI queries sent to them: the SCSI address of a
// target as a Java TargetInfo object, and the routines other subsystems share.
#ifndef DVH_TARGETS_LUNS_H
#define DVH_TARGETS_LUNS_H

#include <jni.h>

#include "sdm/sdm_api.h"

// Reads a Java TargetInfo object into *pTargetInfo, each value stored as soon
// as it is read: getBus, getLUN, getTargetID, getTargetState (low 16 bits),
// getSupportsTest into SupportsTest and getPerformBufferTest into Reserved1
// (bit 0 set or cleared: hand in a cleared record). Nothing else of the
// record is touched. 0; 4099 for a null object ("NULL javaTargetInfoObject!");
// 4097 when an accessor is missing (fields read before it stay stored);
// dvh::kStatusJavaThrew when an accessor threw.
jint getTargetInfo(JNIEnv* env, jobject javaTargetInfoObject, TARGETINFORMATION* pTargetInfo);

// Calls setSupportsTest(false) on a Java TargetInfo object. Failures print one
// line; a Java exception thrown by the setter stays pending.
void setTargetInfoNotSupported(JNIEnv* env, jobject jObj);

// INQUIRY (36 bytes of standard data) to the LUN that targetInfoObj names;
// fills the SCSIInqInfo object inqObj and returns the address read from
// targetInfoObj in *ptargetInfo. *pscsiInqData is not written. 0, 4099,
// 0x20000064, 4097, the library's status, or dvh::kStatusJavaThrew.
jint getLocalScsiInquiryData(JNIEnv* env, jobject obj, jint dev, jobject targetInfoObj, jobject inqObj,
                             SCSI_INQUIRY_DATA_INFO* pscsiInqData, TARGETINFORMATION* ptargetInfo);

// Capacity of the LUN object's TargetInfo address, into setLogicalBlockAddress
// (megabytes) and setBytesPerBlock (1); the native method of that name.
jint getScsiReadCapacityData(JNIEnv* env, jobject obj, jint dev, jobject jLun);

// The WWULN of one LUN (INQUIRY page 0x83 through the registry's routines),
// handed to the LUN object's setWWULNObject as a short[8].
jint getLUN_WWULN_Data(JNIEnv* env, jobject obj, jint dev, jobject jLun, SCSI_INQUIRY_DATA_INFO scsiInqData,
                       TARGETINFORMATION targetInfo);

#endif  // DVH_TARGETS_LUNS_H
