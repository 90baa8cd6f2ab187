// Adapter statistics and state, and the counters of a buffer test result.
#ifndef DVH_STATISTICS_H
#define DVH_STATISTICS_H

#include "sdm/sdm_api.h"

// Clears DataMiscompare and the six error, I/O, interrupt and link counters
// of a buffer test result; the status, MBytesCount, lastPattern and
// iReserved keep their values.
void zeroOutStats(RWBUFFERTESTRESULT* testResult);

#endif  // DVH_STATISTICS_H
