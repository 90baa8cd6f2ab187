package com.norvik.dvh.iscsi.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.lang.invoke.MethodType;
import java.lang.reflect.Constructor;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.Test;

/**
 * The native library finds every accessor by name and exact JNI signature; a changed parameter type
 * (int for short, say) would make it fail at run time with status 4097. This table lists what the
 * native side looks up on each model class.
 */
class ModelContractTest {

    private static final String P = "Lcom/norvik/dvh/iscsi/model/";

    private static final String CONTRACT = String.join("\n",
            "IPAddr <init> ()V",
            "IPAddr setAddress ([S)V",
            "IPAddr getAddressElement (S)S",

            "NodeInfo setiSCSIName (Ljava/lang/String;)V",
            "NodeInfo getiSCSIName ()Ljava/lang/String;",
            "NodeInfo setAlias (Ljava/lang/String;)V",
            "NodeInfo getAlias ()Ljava/lang/String;",
            "NodeInfo setIPAddress (" + P + "IPAddr;)V",
            "NodeInfo getIPAddress ()" + P + "IPAddr;",
            "NodeInfo setPortalCount (I)V",
            "NodeInfo getPortalCount ()I",

            "DevEntry setDeviceType (I)V", "DevEntry getDeviceType ()I",
            "DevEntry setExecutionThrottle (I)V", "DevEntry getExecutionThrottle ()I",
            "DevEntry setTxTCPWindowScale (S)V",
            "DevEntry setRxTCPWindowScale (S)V", "DevEntry getRxTCPWindowScale ()S",
            "DevEntry setRetryDelay (S)V", "DevEntry getRetryDelay ()S",
            "DevEntry setiSCSIOptions (S)V", "DevEntry getiSCSIOptions ()S",
            "DevEntry setTCPOptions (I)V", "DevEntry getTCPOptions ()I",
            "DevEntry setIPOptions (I)V", "DevEntry getIPOptions ()I",
            "DevEntry setMaxRxDataSegmentLen (I)V", "DevEntry getMaxRxDataSegmentLen ()I",
            "DevEntry setFirstBurstSize (I)V", "DevEntry getFirstBurstSize ()I",
            "DevEntry setDefaultTime2Wait (I)V", "DevEntry getDefaultTime2Wait ()I",
            "DevEntry setDefaultTime2Retain (I)V", "DevEntry getDefaultTime2Retain ()I",
            "DevEntry setMaxOutstandingR2T (I)V", "DevEntry getMaxOutstandingR2T ()I",
            "DevEntry setKeepAliveTO (I)V", "DevEntry getKeepAliveTO ()I",
            "DevEntry setPortNumber (I)V", "DevEntry getPortNumber ()I",
            "DevEntry setMaxBurstSize (S)V", "DevEntry getMaxBurstSize ()S",
            "DevEntry setTaskManagementTimeout (S)V", "DevEntry getTaskManagementTimeout ()S",
            "DevEntry setTargetAddress (Ljava/lang/String;)V", "DevEntry getTargetAddress ()Ljava/lang/String;",

            "DevDBEntry <init> ()V",
            "DevDBEntry setOptions (B)V", "DevDBEntry getOptions ()B",
            "DevDBEntry setControl (B)V", "DevDBEntry getControl ()B",
            "DevDBEntry setExeCount (I)V", "DevDBEntry getExeCount ()I",
            "DevDBEntry setTargetSessionID (I)V", "DevDBEntry getTargetSessionID ()I",
            "DevDBEntry setInitiatorSessionID ([S)V", "DevDBEntry getInitiatorSessionID ()[S",
            "DevDBEntry setTargetID (I)V", "DevDBEntry getTargetID ()I",
            "DevDBEntry setState (I)V", "DevDBEntry getState ()I",
            "DevDBEntry setReservedFlags (I)V", "DevDBEntry getReservedFlags ()I",
            "DevDBEntry setDDBLink (I)V", "DevDBEntry getDDBLink ()I",
            "DevDBEntry setChapIndex (I)V", "DevDBEntry getChapIndex ()I",
            "DevDBEntry setMaxTxDataSegmentLen (I)V", "DevDBEntry getMaxTxDataSegmentLen ()I",
            "DevDBEntry setTargetPortalGroupID (I)V", "DevDBEntry getTargetPortalGroupID ()I",
            "DevDBEntry setIndex (I)V",
            "DevDBEntry isBootableDevice ()I",
            "DevDBEntry getNodeInfo ()" + P + "NodeInfo;",
            "DevDBEntry getDeviceEntry ()" + P + "DevEntry;",

            "InitFW setFWOptions (S)V", "InitFW getFWOptions ()S",
            "InitFW setAddFWOptions (S)V", "InitFW getAddFWOptions ()S",
            "InitFW setJumboPacketSize (I)V", "InitFW getJumboPacketSize ()I",
            "InitFW setZIOCount (S)V", "InitFW getZIOCount ()S",
            "InitFW setVLAN_TCI_TO_InitFW (I)V", "InitFW getVLAN_TCI ()I",
            "InitFW setReserved1 (B)V",
            "InitFW setWakeupThreshold (S)V",
            "InitFW getDevEntry ()" + P + "DevEntry;",

            "BootInfo getEnabled ()Z", "BootInfo setEnabled (Z)V", "BootInfo setSpin_delay (Z)V",
            "BootInfo setBootCodeFlags (I)V", "BootInfo getBootCodeFlags ()I", "BootInfo setBootCodeValid (I)V",
            "BootInfo setPri_valid (Z)V", "BootInfo getPri_valid ()Z",
            "BootInfo setSec_valid (Z)V", "BootInfo getSec_valid ()Z",
            "BootInfo setPri_Tgt (B)V", "BootInfo getPri_Tgt ()I",
            "BootInfo setSec_Tgt (B)V", "BootInfo getSec_Tgt ()I",
            "BootInfo setPri_Lun (J)V", "BootInfo getPri_Lun ()J",
            "BootInfo setSec_Lun (J)V", "BootInfo getSec_Lun ()J",
            "BootInfo setMajorVersion (I)V", "BootInfo setMinorVersion (I)V", "BootInfo is6110 ()Z",
            "BootInfo setVendorID (Ljava/lang/String;)V", "BootInfo getVendorID ()Ljava/lang/String;",
            "BootInfo getVendorIDLength ()I",
            "BootInfo setAltClientID (Ljava/lang/String;)V", "BootInfo getAltClientID ()Ljava/lang/String;",
            "BootInfo getAltClientIDLength ()I",

            "ReturnStatus <init> ()V", "ReturnStatus setStatus (I)V",
            "ReturnStatus setStatusString (Ljava/lang/String;)V",

            "VitalProductData setProductDescription (Ljava/lang/String;)V",
            "VitalProductData setPartNumber (Ljava/lang/String;)V",
            "VitalProductData setManufactureID (Ljava/lang/String;)V",
            "VitalProductData setFRUNumber (Ljava/lang/String;)V",
            "VitalProductData setECLevel (Ljava/lang/String;)V",
            "VitalProductData setCCIN (Ljava/lang/String;)V",
            "VitalProductData setBrand (Ljava/lang/String;)V",

            "HBA setNumberDiskTargets (I)V", "HBA getNumberDiskTargets ()I",
            "HBA setMACAddress ([S)V",
            "HBA setState (I)V", "HBA setDhcpState (I)V", "HBA setLinkStatus (I)V",
            "HBA setFlowControl (Z)V", "HBA setDuplex (I)V", "HBA setLinkSpeed (I)V", "HBA setType (I)V",
            "HBA setDriverAttribute (I)V", "HBA setFirmwareAttribute (I)V",
            "HBA setDriverVersion (Ljava/lang/String;)V", "HBA setFirmwareVersion (Ljava/lang/String;)V",
            "HBA setManufacturer (Ljava/lang/String;)V", "HBA setChipModel (Ljava/lang/String;)V",
            "HBA setOptRomVersion (Ljava/lang/String;)V", "HBA setSerialNumberStr (Ljava/lang/String;)V",
            "HBA addDeviceDataBaseEntry (" + P + "DevDBEntry;)V",
            "HBA getDeviceDataBaseEntry (I)" + P + "DevDBEntry;",
            "HBA setHBA_Level_Alias (Ljava/lang/String;)V", "HBA getHBA_Level_Alias ()Ljava/lang/String;",
            "HBA setHBA_Level_TCPMaxWindowSize (I)V", "HBA getHBA_Level_TCPMaxWindowSize ()I",
            "HBA getInitFW ()" + P + "InitFW;",
            "HBA getNodeInfo ()" + P + "NodeInfo;",
            "HBA getBootInfo ()" + P + "BootInfo;",
            "HBA setIPAddress (" + P + "IPAddr;)V", "HBA getIPAddress ()" + P + "IPAddr;",
            "HBA setGateway (" + P + "IPAddr;)V", "HBA getGateway ()" + P + "IPAddr;",
            "HBA setSubnetMask (" + P + "IPAddr;)V", "HBA getSubnetMask ()" + P + "IPAddr;",
            "HBA setPrimaryDNS (" + P + "IPAddr;)V", "HBA getPrimaryDNS ()" + P + "IPAddr;",
            "HBA setSecondaryDNS (" + P + "IPAddr;)V",
            "HBA setSlpDa (" + P + "IPAddr;)V", "HBA getSlpDa ()" + P + "IPAddr;",

            "PortStatistics setMACTxFramesCount ([B)V", "PortStatistics setMACTxBytesCount ([B)V", "PortStatistics setMACRxFramesCount ([B)V",
            "PortStatistics setMACRxBytesCount ([B)V", "PortStatistics setMACCRCErrorCount ([B)V", "PortStatistics setIPTxPacketsCount ([B)V",
            "PortStatistics setIPTxBytesCount ([B)V", "PortStatistics setIPTxFragmentsCount ([B)V", "PortStatistics setIPRxPacketsCount ([B)V",
            "PortStatistics setIPRxBytesCount ([B)V", "PortStatistics setIPRxFragmentsCount ([B)V", "PortStatistics setIPDatagramReassemblyCount ([B)V",
            "PortStatistics setIPv6RxPacketsCount ([B)V", "PortStatistics setIPRxPacketErrorCount ([B)V", "PortStatistics setIPReassemblyErrorCount ([B)V",
            "PortStatistics setTCPTxSegmentsCount ([B)V", "PortStatistics setTCPTxBytesCount ([B)V", "PortStatistics setTCPRxSegmentsCount ([B)V",
            "PortStatistics setTCPRxBytesCount ([B)V", "PortStatistics setTCPTimerExpiredCount ([B)V", "PortStatistics setTCPRxACKCount ([B)V",
            "PortStatistics setTCPTxACKCount ([B)V", "PortStatistics setTCPRxErrorSegmentCount ([B)V", "PortStatistics setTCPWindowProbeUpdateCount ([B)V",
            "PortStatistics setiSCSITxPDUCount ([B)V", "PortStatistics setiSCSITxBytesCount ([B)V", "PortStatistics setiSCSIRxPDUCount ([B)V",
            "PortStatistics setiSCSIRxBytesCount ([B)V", "PortStatistics setiSCSICompleteIOsCount ([B)V", "PortStatistics setiSCSIFormatErrorCount ([B)V",
            "PortStatistics setiSCSIHeaderDigestCount ([B)V", "PortStatistics setiSCSIDataDigestErrorCount ([B)V", "PortStatistics setiSCSISeqErrorCount ([B)V",
            "ExtendedPortStatistics setStatByIndex ([BI)V",
            "TestStatus getTestStatus ()Z",
            "LoopbackTestResult setLoopbackTestStatus (I)V", "LoopbackTestResult setLoopbackSuccessCount (I)V",
            "LoopbackTestResult setLoopbackFailCount (I)V",
            "BufferTestResult setReadWriteBufferTestStatus (I)V", "BufferTestResult setDataMiscompare (I)V",
            "BufferTestResult setHBAPortErrorCount (J)V", "BufferTestResult setDevicePortErrorCount (J)V",
            "BufferTestResult setIoCount (J)V", "BufferTestResult setMBytesCount (J)V",
            "BufferTestResult setInterruptCount (J)V", "BufferTestResult setLinkFailureCount (J)V",
            "BufferTestResult setInvalidCRCCount (J)V", "BufferTestResult setLastPattern ([S)V",

            "FirmwareInfo setFirmwareAttribute (I)V",
            "FirmwareInfo setiSCSIVersion (Ljava/lang/String;)V",
            "FirmwareInfo setOptRomVersion (Ljava/lang/String;)V",
            "FirmwareInfo setFirmwareVersion (Ljava/lang/String;)V",
            "FirmwareInfo setChipModel (Ljava/lang/String;)V",
            "DriverInfo setDriverVersion (Ljava/lang/String;)V",
            "DriverInfo setDriverAttribute (I)V",
            "ChipInfo setBoardModel (Ljava/lang/String;)V",
            "ChipInfo setChipVersion (I)V",

            "CHAPTableEntry <init> ()V",
            "CHAPTableEntry setFlags (I)V", "CHAPTableEntry getFlags ()I",
            "CHAPTableEntry setLink (I)V", "CHAPTableEntry getLink ()I",
            "CHAPTableEntry setChapSecret ([SI)V", "CHAPTableEntry getChapSecret ()[S",
            "CHAPTableEntry getChapSecretLength ()I",
            "CHAPTableEntry setChapName (Ljava/lang/String;)V", "CHAPTableEntry getChapName ()Ljava/lang/String;",
            "CHAPTableEntry setFlashIndex (I)V", "CHAPTableEntry getFlashIndex ()I",
            "HBA addCHAPTableEntry (" + P + "CHAPTableEntry;)V",
            "HBA cleariSNSTargetList ()V",
            "HBA addiSNSTarget (" + P + "iSNSTarget;)V",
            "iSNSTarget <init> ()V",
            "iSNSTarget setPort (I)V",
            "iSNSTarget setiSCSIName (Ljava/lang/String;)V",
            "iSNSTarget setiSCSIAlias (Ljava/lang/String;)V",
            "iSNSTarget setIPAddress ([SI)V",
            "iSNSDiscoveryConfig getEnableiSNSDiscoveryFlag ()Z",
            "iSNSDiscoveryConfig getAutomaticDiscoveryFlag ()Z",
            "iSNSDiscoveryConfig getServerIPAddress ()" + P + "IPAddr;",
            "iSNSDiscoveryConfig getHBAiSCSIName ()Ljava/lang/String;",
            "iSNSDiscoveryConfig setEnableiSNSDiscoveryFlag (I)V",
            "iSNSDiscoveryConfig setAutomaticDiscoveryFlag (I)V",
            "iSNSDiscoveryConfig setServerIPAddress ([SI)V",
            "iSNSDiscoveryConfig setServerHostname (Ljava/lang/String;)V",
            "AdapterLogs setConnectErrorLogEntries ([J)V",
            "AdapterLogs setARPLogEntries ([J)V");

    @Test
    void everyAccessorTheNativeSideLooksUpExistsWithItsExactSignature() throws Exception {
        List<String> missing = new ArrayList<>();
        for (String line : CONTRACT.split("\n")) {
            String[] f = line.split(" ");
            Class<?> c = Class.forName("com.norvik.dvh.iscsi.model." + f[0]);
            if (!has(c, f[1], f[2])) {
                missing.add(line);
            }
        }
        assertEquals(List.of(), missing);
    }

    @Test
    void innerObjectsExistFromConstruction() {
        HBA hba = new HBA();
        assertTrue(hba.getInitFW() != null && hba.getInitFW().getDevEntry() != null);
        assertTrue(hba.getNodeInfo() != null && hba.getBootInfo() != null);
        DevDBEntry e = new DevDBEntry();
        assertTrue(e.getNodeInfo() != null && e.getDeviceEntry() != null);
        assertEquals(-1, e.isBootableDevice());
        assertEquals(6, e.getInitiatorSessionID().length);
    }

    @Test
    void deviceDatabaseEntriesAreKeptInOrderAndLookedUpByPosition() {
        HBA hba = new HBA();
        DevDBEntry a = new DevDBEntry();
        DevDBEntry b = new DevDBEntry();
        hba.addDeviceDataBaseEntry(a);
        hba.addDeviceDataBaseEntry(b);
        assertTrue(hba.getDeviceDataBaseEntry(0) == a && hba.getDeviceDataBaseEntry(1) == b);
        assertEquals(null, hba.getDeviceDataBaseEntry(2));
        assertEquals(null, hba.getDeviceDataBaseEntry(-1));
    }

    static boolean has(Class<?> c, String name, String descriptor) {
        if (name.equals("<init>")) {
            for (Constructor<?> k : c.getConstructors()) {
                if (descriptor(k.getParameterTypes(), void.class).equals(descriptor)) {
                    return true;
                }
            }
            return false;
        }
        for (Method m : c.getMethods()) {
            if (m.getName().equals(name) && !Modifier.isStatic(m.getModifiers())
                    && descriptor(m.getParameterTypes(), m.getReturnType()).equals(descriptor)) {
                return true;
            }
        }
        return false;
    }

    private static String descriptor(Class<?>[] params, Class<?> result) {
        return MethodType.methodType(result, params).descriptorString();
    }
}
