// The firmware initialization block (INITFWISCSI) and the InitFW model object.
#ifndef DVH_FIRMWARE_BLOCK_H
#define DVH_FIRMWARE_BLOCK_H

#include <jni.h>

#include "sdm/sdm_api.h"

// Record -> InitFW object (and its DevEntry). 0, 4097 or 4099.
jint getInitFW(JNIEnv* env, jobject jInitFW, const INITFWISCSI* pInitFW);
// The native method getFWData: addresses into the adapter object, the rest
// into its InitFW object.
jint getFWData(JNIEnv* env, jobject obj, jint dev, jobject jObj);

#endif  // DVH_FIRMWARE_BLOCK_H
