package com.norvik.dvh.iscsi.model;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.Test;

/**
 * What the native side looks up on the target, LUN, TargetInfo and SCSIInqInfo classes, by name and
 * exact JNI signature, and what the application gets from them.
 */
class TargetContractTest {

    private static final String P = "Lcom/norvik/dvh/iscsi/model/";

    private static final List<String> CONTRACT = List.of(
            "HBA getNumberDiskTargets ()I", "HBA getDeviceDataBaseEntry (I)" + P + "DevDBEntry;",
            "DevDBEntry getTargetID ()I",
            "Target getInstance ()I", "Target setNodeCount (I)V", "Target setHostName (Ljava/lang/String;)V",
            "Target setTCPPortNumber (I)V", "Target setIPAddress (" + P + "IPAddr;)V",
            "Target getTargetInfo ()" + P + "TargetInfo;", "Target setSessionID (I)V", "Target setConnectionID (I)V",
            "Target setPortalGroup (I)V", "Target getNodeInfo ()" + P + "NodeInfo;", "Target addLUN (I)V",
            "TargetInfo getBus ()I", "TargetInfo getLUN ()I", "TargetInfo getTargetID ()I",
            "TargetInfo getTargetState ()I", "TargetInfo getSupportsTest ()Z", "TargetInfo getPerformBufferTest ()Z",
            "TargetInfo setBus (I)V", "TargetInfo setLUN (I)V", "TargetInfo setTargetID (I)V",
            "TargetInfo setSupportsTest (Z)V",
            "LUN getTargetInfo ()" + P + "TargetInfo;", "LUN getSCSIInqInfo ()" + P + "SCSIInqInfo;",
            "LUN setWWULNObject ([S)V", "LUN setLogicalBlockAddress (J)V", "LUN setBytesPerBlock (J)V",
            "SCSIInqInfo setExtraData (Ljava/lang/String;)V", "SCSIInqInfo setInquiryHeader (Ljava/lang/String;)V",
            "SCSIInqInfo setProductID (Ljava/lang/String;)V", "SCSIInqInfo setRevision (Ljava/lang/String;)V",
            "SCSIInqInfo setSerialNumber (Ljava/lang/String;)V", "SCSIInqInfo setVendorID (Ljava/lang/String;)V");

    @Test
    void everyAccessorTheNativeSideLooksUpExistsWithItsExactSignature() throws Exception {
        List<String> missing = new ArrayList<>();
        for (String line : CONTRACT) {
            String[] f = line.split(" ");
            if (!ModelContractTest.has(Class.forName("com.norvik.dvh.iscsi.model." + f[0]), f[1], f[2])) {
                missing.add(line);
            }
        }
        assertEquals(List.of(), missing);
    }

    @Test
    void aLunOfATargetHasItsOwnCopyOfTheAddress() {
        Target t = new Target(3);
        t.getTargetInfo().setTargetID(7);
        t.getTargetInfo().setSupportsTest(true);
        LUN lun = LUN.of(t, 5);
        assertEquals("0:7:5", lun.getTargetInfo().address());
        assertTrue(lun.getTargetInfo().getSupportsTest());
        assertNotSame(t.getTargetInfo(), lun.getTargetInfo());
        assertEquals("0:7:0", t.getTargetInfo().address());
        assertTrue(t.getNodeInfo() != null && lun.getSCSIInqInfo() != null);
    }

    @Test
    void capacityIsTheProductOfBothFactorsUnlessOneCarriesTheMarker() {
        LUN lun = new LUN();
        lun.setLogicalBlockAddress(8192);
        lun.setBytesPerBlock(1);
        assertEquals(8192, lun.getCapacityMegabytes());
        lun.setLogicalBlockAddress(0x1fefefefeL);
        assertFalse(lun.isCapacityMeasured());
        assertEquals(-1, lun.getCapacityMegabytes());
        lun.setLogicalBlockAddress(10);
        lun.setBytesPerBlock(0xfefefefeL);
        assertFalse(lun.isCapacityMeasured());
    }

    @Test
    void theWwulnIsCopiedInAndOut() {
        LUN lun = new LUN();
        assertNull(lun.getWWULN());
        assertNull(lun.getWWULNString());
        short[] w = {0x60, 0x0b, 0xfe, 0x72, 0x09, 0x31, 0x00, 0xff};
        lun.setWWULNObject(w);
        w[0] = 0;
        assertArrayEquals(new short[] {0x60, 0x0b, 0xfe, 0x72, 0x09, 0x31, 0x00, 0xff}, lun.getWWULN());
        assertEquals("60:0b:fe:72:09:31:00:ff", lun.getWWULNString());
    }
}
