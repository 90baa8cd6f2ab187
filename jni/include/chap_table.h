// The CHAP secret table: CHAPTABLE records to and from CHAPTableEntry
// objects. Each routine answers 0, 4097 (an accessor is missing), 4098 (the
// model class is missing), 4099 (no CHAPTableEntry object) or
// dvh::kStatusJavaThrew.
#ifndef DVH_CHAP_TABLE_H
#define DVH_CHAP_TABLE_H

#include <jni.h>

#include <cstdint>

#include "sdm/sdm_api.h"

// Record -> object: flags, link, secret, name.
jint setiSCSICHAPEntry(JNIEnv* env, jobject jEntry, const CHAPTABLE* entry);
// Entry `index` of the table -> object, the index as its flash index.
jint setiSCSICHAPEntrySparse(JNIEnv* env, jobject jEntry, const CHAPTABLE* table, uint32_t index);
// Object -> record.
jint getiSCSICHAPEntry(JNIEnv* env, jobject jEntry, CHAPTABLE* entry);
// Object -> record and its flash index (low 8 bits).
jint getiSCSICHAPEntrySparse(JNIEnv* env, jobject jEntry, CHAPTABLE* entry, uint32_t* index);
// The object's flash index (low 8 bits).
jint getiSCSICHAPEntryIndex(JNIEnv* env, jobject jEntry, uint32_t* index);

#endif  // DVH_CHAP_TABLE_H
