package com.norvik.dvh.iscsi.jni;

/**
 * Java face of the native bridge library {@code dvhiscsi}.
 *
 * <p>Every method is a synchronous call into the native library, which turns it into calls of the
 * adapter vendor's device-management library. {@code dev} is the adapter instance number (0..31);
 * call {@link #initJNINative()} once before the first {@link #openDevice(int)}. Model objects are
 * passed as {@code Object} and are filled or read through their getters and setters (classes in
 * {@code com.norvik.dvh.iscsi.model}).
 *
 * <p>Status results: 0 success, 0x20000064 adapter index out of range, 4097 a Java accessor was not
 * found, 4098 a Java class was not found, 4099 a required Java object was null; any other value is
 * the device-management library's own status (see {@link ApiStatus}).
 */
public class ApiWrapper {

    /**
     * System property naming the native library's file by its absolute path; without it the library
     * is looked for on {@code java.library.path}. The test kit sets it when it finds the library
     * itself.
     */
    public static final String LIBRARY_PROPERTY = "dvhiscsi.library";

    static {
        String path = System.getProperty(LIBRARY_PROPERTY);
        if (path != null && !path.isEmpty()) {
            System.load(path);
        } else {
            System.loadLibrary("dvhiscsi");
        }
    }

    // Adapter sessions and library version
    public native void initJNINative();

    public native boolean openDevice(int dev);

    public native boolean closeDevice(int dev);

    public native String getVersioniSCSI();

    // Asynchronous event notification
    public native int enableAENsForDevice(int dev, int timerInterval, Object fullHostObj);

    public native int disableAENsForDevice(int dev, int levelShutdown);

    public native int getAENsForDevice(int dev, int numHwHBAs, Object fullHostObj);

    public native int ignoreAENs(int dev, int ignoreFlag, int futureTBD_Timeout);

    public native int startAENValidTime(int dev, int futureTBD_time);

    // System user validation
    public native int validateSystemUser(String systemUserName, String systemUserPassword);

    // Debug trace of the device-management library
    public native int enableSdmTrace(int dev, String fileName);

    // Adapter inventory and properties
    public native int getiSCSIAdapterInfo(int dev, Object jObj);

    public native int getiSCSIFWInfo(int dev, Object jObj);

    public native int getiSCSIDriverInfo(int dev, Object jObj);

    public native int getiSCSIHBAData(int dev, Object jObj);

    public native int getChipInfo(int dev, Object jHba);

    // Firmware initialization block
    public native int getISCSIFWDefaults(int dev, Object jInitFW);

    public native boolean setISCSIDefaults(int dev);

    public native int restoreDefaults(int dev, int jregionMask, int jdetailMask);

    public native boolean resetISCSIHBA(int dev);

    public native int setFWData(int dev, Object jHba);

    public native int getFWData(int dev, Object jObj);

    // Device database entries
    public native Object getDefaultDDBEntry(int dev);

    public native int getInitialDDBEntry(int dev, Object JDDB, int jIndex);

    public native int getiSCSIEntryNum(int dev);

    public native int setDDBData(int dev, Object jHba, Object jDDB, int index);

    public native int setDDBsData(int dev, Object jHba, Object[] jArray);

    public native int logoutDDB(int dev, int index, int options, int newIndex);

    // CHAP secret table
    public native int getCHAPTableSparse(int dev, Object jHBA);

    public native int getCHAPTableData(int dev, Object jHBA);

    public native int setCHAPTableData(int dev, Object[] jArray);

    public native int setCHAPTableSparse(int dev, Object[] jArray, Object[] jRemovedArray);

    // Targets, LUNs and SCSI queries
    public native int getiSCSITargetData(int dev, Object jHba, Object jTarget);

    public native int getiSCSILunData(int dev, Object jLun);

    public native int getScsiReportLUNsData(int dev, Object jHba, Object jTarget);

    public native int getScsiInquiryData(int dev, Object targetInfoObj, Object inqObj);

    public native int getScsiReadCapacityData(int dev, Object jLun);

    // Statistics and adapter state
    public native int getiSCSIStatistics(int dev, Object jStats);

    public native int getiSCSIStatistics6124(int dev, Object jStats);

    public native int getiSCSIHBAState(int dev, Object jHBA);

    public native boolean resetISCSICounters(int dev, int portNum);

    // Event logs
    public native int getConnectErrorLog(int dev, Object jObj);

    public native int getARPLog(int dev, Object jObj);

    public native int retrieveCrashRecord(int dev, String fileName);

    // iSNS discovery
    public native int getiSNSDiscoveryConfig(int dev, Object jiSNSDiscoveryConfig);

    public native int setiSNSDiscoveryConfig(int dev, Object jiSNSDiscoveryConfig);

    public native int getiSNSTargets(int dev, Object jHBAobj);

    // IPsec security
    public native int getSecurityPoliciesTable(int dev, Object jHBA);

    public native int setSecurityPolicies(int dev, Object[] jPolicies);

    public native int getiSCSISecurityInfo(int dev, Object jHBA);

    public native int getiSCSISecurityStatistics(int dev, Object jHBA);

    public native int flushSAs(int dev, int index);

    // Boot configuration
    public native int getBootInfo(int dev, Object jObj);

    public native int getRunningBIOSInfo(int dev, Object jObj);

    public native int setBootInfo(int dev, Object jObj);

    // Diagnostics
    public native int ping(int dev, Object ipAddr, int count);

    public native int loopbackTest(int dev, int mode, int stopOnError, int jTestCount, Object testStatus,
            Object jTestResult);

    public native int readWriteBufferTest(int dev, Object[] jTargetInfoArray, int stopOnError, int jTestCount,
            char[] jTestPattern, Object testStatus, Object[] jTestResults);

    // Vital product data, firmware and driver update
    public native int getIBMVPD(int dev, Object vpdObj);

    public native boolean iSCSIUpdateFW(int dev, String fName, int type);

    public native String iSCSIGetDriverVersion(int dev, Object driverReq, String fileName, String version);

    public native Object updateDriver(String dirpath, int icontrol);
}
