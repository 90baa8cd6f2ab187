package com.norvik.dvh.iscsi.jni;

/** JNI floors of the benchmark, from libdvhbench.so (see bench/floors/bench_floor_jni.cpp). */
final class BenchFloors {
    static {
        System.loadLibrary("dvhbench");
    }

    private BenchFloors() {
    }

    static native int hbaData(int handle, int dev, Object hba);

    static native int fwData(int handle, int dev, Object hba);

    static native int aenLines(int handle, int dev, Object host);

    static native int isnsTargets(int handle, Object hba);

    static native int chapTable(int handle, Object hba);

    static native int setFWData(int handle, Object hba);

    static native int setDDBsData(int handle, Object[] entries);

    static native int securityPolicies(int handle, Object hba);

    static native int setSecurityPolicies(int handle, Object[] policies);

    static native int statistics(int handle, Object stats);

    static native int statistics6124(int handle, Object stats);

    static native int connectErrorLog(int handle, Object logs);

    static native int arpLog(int handle, Object logs);

    static native int securityStatistics(int handle, Object hba);

    static native int chapTableSparse(int handle, Object hba);

    static native int setCHAPTable(int handle, Object[] entries);

    static native int adapterInfo(int handle, Object info);

    static native int chipInfo(int handle, Object info);

    static native int isnsConfig(int handle, Object cfg);

    static native int bootInfo(int handle, Object boot);

    static native int targetData(int handle, Object hba, Object target);

    static native int lunData(int handle, Object lun);

    /** malloc_trim(0): free memory of the C heap back to the system. */
    static native void trimNativeHeap();
}
