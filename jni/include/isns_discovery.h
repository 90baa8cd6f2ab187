// iSNS discovery: the discovery configuration and the discovered targets.
#ifndef DVH_ISNS_DISCOVERY_H
#define DVH_ISNS_DISCOVERY_H

#include <jni.h>

#include "sdm/sdm_api.h"

// Record -> configuration object. 0, 4097, 0x20000064 (no object) or dvh::kStatusJavaThrew.
jint SDMToJava_iSNSDiscoveryConfig(JNIEnv* env, jobject cfg, const SDM_ISNS_CONFIG* config);
// Configuration object -> record (cleared by the caller). 0, 4097, 4098, 4099,
// 0x20000064 (no object) or dvh::kStatusJavaThrew.
jint JavaToSDM_iSNSDiscoveryConfig(JNIEnv* env, jobject cfg, SDM_ISNS_CONFIG* config);
// One discovered target -> a new iSNSTarget added to the adapter object.
// 0, 4097, 4099, 0x20000064 (a null argument) or dvh::kStatusJavaThrew.
jint SDMToJava_iSNSDiscoveredTargets(JNIEnv* env, jclass hbacls, jclass iSNSTargetcls, jobject jHBAObj,
                                     const SDM_ISNS_DISCOVERED_TARGET* record);

#endif  // DVH_ISNS_DISCOVERY_H
