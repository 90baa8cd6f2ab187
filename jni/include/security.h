// IPsec security: the policy table between SECURITYPOLICY records and
// SecurityPolicyEntry / SecurityTransform objects, and the engine's
// information, counters and security associations.
#ifndef DVH_SECURITY_H
#define DVH_SECURITY_H

#include <jni.h>

#include <cstdint>
#include <vector>

#include "sdm/sdm_api.h"

// Fills one SecurityPolicyEntry from one policy record, transforms included.
// 0, 4097 (missing accessor), 4098 (missing class) or 4099 (object not made).
jint setSecurityPolicyEntryToJava(JNIEnv* env, jobject javaSecurityPolicyEntryObject, const SECURITYPOLICY* pPolicies);
// Fills one zeroed policy record from one SecurityPolicyEntry; same statuses.
jint getSecurityPolicyEntryFromJava(JNIEnv* env, jobject javaPolicyObject, SECURITYPOLICY* pPolicy);

// Number and records of the IPsec SAs of the policy with `priority`; the
// records are left empty when there are none or the count cannot be read.
SD_STATUS getIPsecSAArray(SDMGT_HANDLE device, uint32_t priority, uint32_t* psaCount, std::vector<IPSECSA>& psaStats);
// Attaches the first IKE SA of `saCount` whose priority is the policy's.
jint processIKESADetails(JNIEnv* env, SDMGT_HANDLE device, jobject javaPolicyEntry, const IKESA* ikeSAs,
                         uint32_t saCount);
// Replaces the policy's SAs by its IPsec SAs.
jint processIPsecSADetails(JNIEnv* env, SDMGT_HANDLE device, jobject javaPolicyEntry);

#endif  // DVH_SECURITY_H
