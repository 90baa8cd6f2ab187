package com.norvik.dvh.iscsi.jni;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.node.ArrayNode;
import com.fasterxml.jackson.databind.node.ObjectNode;
import com.norvik.dvh.iscsi.jni.ConfigFixtures.Scenario;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.LUN;
import com.norvik.dvh.iscsi.model.SCSIInqInfo;
import com.norvik.dvh.iscsi.model.Target;
import com.norvik.dvh.iscsi.model.TargetInfo;
import com.norvik.dvh.iscsi.sim.SimCall;
import com.norvik.dvh.iscsi.sim.SimControl;

import java.util.HexFormat;
import java.util.List;
import java.util.stream.IntStream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/**
 * REPORT LUNS, INQUIRY and the capacity query against simulated targets: buffer sizes, the LUN list
 * walk, the status codes, the capacity in megabytes in both computations and the library's
 * not-measured marker, and the exact lines printed on the way.
 */
class ScsiQueryTest extends NativeTestBase {

    private static final int BAD_REPORT_LUNS = 0x20000075;
    private static final int UNDERRUN = 0x20000077;
    private static final int NOT_MEASURED = 0xfefefefe;

    private int status;

    /** Instance 0 with the given targets (bus 0, session active), opened, call log cleared. */
    private static void load(ObjectNode... targets) {
        Scenario s = new Scenario();
        ArrayNode list = s.adapter(0).putArray("targets");
        for (ObjectNode t : targets) {
            list.add(t);
        }
        SimControl.loadScenario(s.json());
        assertTrue(api.openDevice(0));
        SimControl.clearCallLog();
    }

    private static ObjectNode target(int id) {
        ObjectNode t = new com.fasterxml.jackson.databind.ObjectMapper().createObjectNode();
        t.put("targetId", id);
        t.putArray("luns");
        return t;
    }

    private static ObjectNode lun(ObjectNode target, int number) {
        return ((ArrayNode) target.get("luns")).addObject().put("lun", number);
    }

    /** A REPORT LUNS answer: the list length field, then the given entries (8 bytes each, hex). */
    private static String reportLuns(long listLength, String... entries) {
        StringBuilder sb = new StringBuilder(String.format("%08x00000000", listLength));
        for (String e : entries) {
            sb.append(e);
        }
        return sb.toString();
    }

    /** An entry in peripheral addressing for LUN n (n < 256). */
    private static String peripheral(int n) {
        return String.format("00%02x000000000000", n);
    }

    private static Target targetAt(int id) {
        Target t = new Target(id);
        t.getTargetInfo().setTargetID(id);
        return t;
    }

    private String reportLunsOf(Target t) {
        return stdout(() -> status = api.getScsiReportLUNsData(0, new HBA(0), t));
    }

    // --- REPORT LUNS ------------------------------------------------------------------------

    @Test
    void listOfASimulatedTargetIsAddedInOrderAfterTwoRequestsWithTheSmallBuffer() {
        ObjectNode t = target(3);
        for (int n : new int[] {2, 0, 7}) {
            lun(t, n);
        }
        load(t);
        Target target = targetAt(3);
        String out = reportLunsOf(target);
        assertEquals(0, status);
        assertEquals(List.of(0, 2, 7), target.getLUNs());
        assertEquals("Num Luns Reported2: 3 \n"
                + "LUN ID Calc, i=8, [i]=0 <<8, [i+1]=0, LUN ID=0,About to add LUN:0\n"
                + "LUN ID Calc, i=16, [i]=0 <<8, [i+1]=2, LUN ID=2,About to add LUN:2\n"
                + "LUN ID Calc, i=24, [i]=0 <<8, [i+1]=7, LUN ID=7,About to add LUN:7\n", out);

        List<SimCall> calls = calls("SDSendScsiReportLunsCmdiSCSI");
        assertEquals(2, calls.size());
        for (SimCall c : calls) {
            assertEquals(264, c.arg("bufferSize"));
            assertEquals(256, c.arg("senseSize"));
            assertEquals(HANDLE_0, c.arg("handle"));
            byte[] ti = c.record("target");
            assertEquals(136, ti.length);
            assertEquals("0000" + "0300" + "0000" + "0000" + "00" + "00",
                    HexFormat.of().formatHex(ti, 0, 10));
        }
        // The first request goes out with a cleared buffer.
        assertArrayEquals(new byte[264], calls.get(0).record("buffer"));
    }

    @Test
    void aListOfExactly264BytesStaysInTheSmallBufferAnd272SwitchesToTheLargeOne() {
        String[] entries = IntStream.range(0, 34).mapToObj(ScsiQueryTest::peripheral).toArray(String[]::new);
        ObjectNode small = target(1).put("reportLunsData", reportLuns(264, entries));
        ObjectNode large = target(2).put("reportLunsData", reportLuns(272, entries));
        load(small, large);

        Target a = targetAt(1);
        reportLunsOf(a);
        assertEquals(0, status);
        assertEquals(List.of(264L, 264L), argOfCalls("SDSendScsiReportLunsCmdiSCSI", "bufferSize"));
        // 33 entries are listed but the small buffer holds 32: the walk stops at its end.
        assertEquals(IntStream.range(0, 32).boxed().toList(), a.getLUNs());

        SimControl.clearCallLog();
        Target b = targetAt(2);
        String out = reportLunsOf(b);
        assertEquals(0, status);
        assertEquals(List.of(264L, 4120L), argOfCalls("SDSendScsiReportLunsCmdiSCSI", "bufferSize"));
        assertEquals(IntStream.range(0, 34).boxed().toList(), b.getLUNs());
        assertTrue(out.startsWith("Num Luns Reported2: 34 \n"), out);
    }

    @Test
    void aReportedCountAboveTheLargeBufferSizeIsBadDataButOneBelowIsWalkedAsFarAsTheBufferGoes() {
        ObjectNode tooMany = target(1).put("reportLunsData", reportLuns(32968, peripheral(1)));
        String[] entries = IntStream.range(0, 520).mapToObj(n -> String.format("%04x000000000000", n))
                .toArray(String[]::new);
        ObjectNode justBelow = target(2).put("reportLunsData", reportLuns(32960, entries));
        load(tooMany, justBelow);

        Target a = targetAt(1);
        String out = reportLunsOf(a);
        assertEquals(BAD_REPORT_LUNS, status);
        assertEquals("Num Luns Reported2: 4121 \nJNI: Bad Report Luns Data - LUNs Reported: 80c8 \n", out);
        assertEquals(List.of(), a.getLUNs());

        Target b = targetAt(2);
        out = reportLunsOf(b);
        assertEquals(0, status);
        // The large buffer holds the header and 514 entries; 0..513 are all at most 515.
        assertEquals(IntStream.range(0, 514).boxed().toList(), b.getLUNs());
        assertTrue(out.endsWith("LUN ID Calc, i=4112, [i]=2 <<8, [i+1]=1, LUN ID=513,About to add LUN:513\n"), out);
    }

    @Test
    void entriesAreNumberedByTheirFirstTwoBytesAndOnlyUpTo515Added() {
        ObjectNode t = target(1).put("reportLunsData", reportLuns(32, "4005000000000000", "0005000000000000",
                "0203000000000000", "0204000000000000"));
        load(t);
        Target target = targetAt(1);
        String out = reportLunsOf(target);
        assertEquals(0, status);
        assertEquals(List.of(5, 515), target.getLUNs());
        assertEquals("Num Luns Reported2: 4 \n"
                + "LUN ID Calc, i=8, [i]=64 <<8, [i+1]=5, LUN ID=16389,"
                + "LUN ID Calc, i=16, [i]=0 <<8, [i+1]=5, LUN ID=5,About to add LUN:5\n"
                + "LUN ID Calc, i=24, [i]=2 <<8, [i+1]=3, LUN ID=515,About to add LUN:515\n"
                + "LUN ID Calc, i=32, [i]=2 <<8, [i+1]=4, LUN ID=516,", out);
    }

    @Test
    void anEmptyListAddsLunZero() {
        load(target(4).put("reportLunsData", reportLuns(0)));
        Target target = targetAt(4);
        String out = reportLunsOf(target);
        assertEquals(0, status);
        assertEquals(List.of(0), target.getLUNs());
        assertEquals("Num Luns Reported2: 0 \nAbout to add LUN:0\n", out);
    }

    @Test
    void flatSpaceAddressedLunsComeOutAbove515AndAreSkipped() {
        ObjectNode t = target(2).put("lunAddressing", "flat");
        lun(t, 0);
        lun(t, 9);
        load(t);
        Target target = targetAt(2);
        String out = reportLunsOf(target);
        assertEquals(0, status);
        assertEquals(List.of(), target.getLUNs());
        assertEquals("Num Luns Reported2: 2 \n"
                + "LUN ID Calc, i=8, [i]=64 <<8, [i+1]=0, LUN ID=16384,"
                + "LUN ID Calc, i=16, [i]=64 <<8, [i+1]=9, LUN ID=16393,", out);
    }

    @Test
    void theUnderrunStatusCountsAsSuccessOtherStatusesArePrintedAndReturned() {
        ObjectNode t = target(1).put("reportLunsStatus", UNDERRUN);
        lun(t, 3);
        load(t);
        Target target = targetAt(1);
        String out = reportLunsOf(target);
        assertEquals(0, status);
        assertEquals(List.of(3), target.getLUNs());
        assertEquals(List.of((long) UNDERRUN, (long) UNDERRUN),
                calls("SDSendScsiReportLunsCmdiSCSI").stream().map(SimCall::status).toList());
        assertTrue(out.startsWith("Num Luns Reported2: 1 \n"), out);

        // A target that is not there: the first request fails.
        Target missing = targetAt(9);
        out = reportLunsOf(missing);
        assertEquals(0x20000004, status);
        assertEquals("SDSendScsiReportLunsCmdiSCSI returned 20000004\n", out);
    }

    @Test
    void aTargetObjectWithoutAddLunEndsTheWalkWithTheStatusOfTheLastRequest() {
        ObjectNode t = target(1);
        lun(t, 3);
        lun(t, 4);
        ObjectNode underrun = target(2).put("reportLunsStatus", UNDERRUN);
        lun(underrun, 6);
        load(t, underrun, target(3).put("reportLunsData", reportLuns(0)));

        // A LUN object has the target's getTargetInfo but no addLUN.
        String out = stdout(() -> status = api.getScsiReportLUNsData(0, new HBA(0), new LUN(new TargetInfo(0, 1, 0))));
        assertEquals(0, status);
        assertEquals("Num Luns Reported2: 2 \n"
                + "LUN ID Calc, i=8, [i]=0 <<8, [i+1]=3, LUN ID=3,GetMethodID addLUN - Obj call failed!\n", out);

        out = stdout(() -> status = api.getScsiReportLUNsData(0, new HBA(0), new LUN(new TargetInfo(0, 2, 0))));
        assertEquals(UNDERRUN, status);
        assertTrue(out.endsWith("LUN ID=6,GetMethodID addLUN - Obj call failed!\n"), out);

        // The LUN 0 of an empty list goes the same way.
        out = stdout(() -> status = api.getScsiReportLUNsData(0, new HBA(0), new LUN(new TargetInfo(0, 3, 0))));
        assertEquals(0, status);
        assertEquals("Num Luns Reported2: 0 \nGetMethodID addLUN - Obj call failed!\n", out);
    }

    @Test
    void addressValuesFromJavaKeepTheirLow16Bits() {
        ObjectNode t = target(5);
        lun(t, 1).put("vendor", "GRAYSTOR");
        load(t);
        // Bus -1, target 0x10005 and LUN 0x30001 address bus 0xffff, target 5, LUN 1; state -2 is 0xfffe.
        TargetInfo ti = new TargetInfo(-1, 0x10005, 0x30001);
        ti.setTargetState(-2);
        String out = stdout(() -> status = api.getScsiInquiryData(0, ti, new SCSIInqInfo()));
        byte[] expected = new byte[136];
        expected[0] = (byte) 0xff;
        expected[1] = (byte) 0xff;
        expected[2] = 5;
        expected[4] = 1;
        expected[6] = (byte) 0xfe;
        expected[7] = (byte) 0xff;
        assertArrayEquals(expected, calls("SDSendScsiInquiryCmdiSCSI").get(0).record("target"));
        // The simulated adapter has no bus 0xffff.
        assertEquals(0x20000004, status);
        assertEquals("SDSendScsiInquiryCmdiSCSI returned 20000004, target ID = 5\n", out);
    }

    /** An inquiry object without setVendorID; records the setters called. */
    public static class InquiryWithoutVendor {
        final List<String> called = new java.util.ArrayList<>();

        public void setExtraData(String s) {
            called.add("setExtraData " + s);
        }

        public void setInquiryHeader(String s) {
            called.add("setInquiryHeader " + s);
        }

        public void setProductID(String s) {
            called.add("setProductID " + s);
        }

        public void setRevision(String s) {
            called.add("setRevision " + s);
        }

        public void setSerialNumber(String s) {
            called.add("setSerialNumber " + s);
        }
    }

    @Test
    void anInquiryObjectOfTheWrongClassGetsWhatItHasAndTheCallSucceeds() {
        ObjectNode t = target(5);
        lun(t, 1).put("vendor", "GRAYSTOR").put("product", "Tundra 12").put("revision", "1.0");
        load(t);
        InquiryWithoutVendor partial = new InquiryWithoutVendor();
        String out = stdout(() -> status = api.getScsiInquiryData(0, new TargetInfo(0, 5, 1), partial));
        assertEquals(0, status);
        // The message names the getter although the setter was looked up.
        assertEquals("GetMethodID getVendorID - Obj call failed!\n", out);
        assertEquals(List.of("setExtraData ", "setInquiryHeader ", "setProductID Tundra 12       ", "setRevision 1.0 ",
                "setSerialNumber "), partial.called);

        out = stdout(() -> status = api.getScsiInquiryData(0, new TargetInfo(0, 5, 1), new TargetInfo()));
        assertEquals(0, status);
        assertEquals("GetMethodID setExtraData - Obj call failed!\n", out);
        assertEquals(2, calls("SDSendScsiInquiryCmdiSCSI").size());
    }

    // --- Capacity ---------------------------------------------------------------------------

    private String capacityOf(LUN lun) {
        return stdout(() -> status = api.getScsiReadCapacityData(0, lun));
    }

    @ParameterizedTest(name = "Lba {0} x {1}: {2} MB")
    @CsvSource({
        // at most 0xffffff: (Lba * BlockLen) >> 20; the last block is not counted, nothing is rounded
        "0xffffff, 512, 8191, 0x0, 0xffffff",
        "2047, 512, 0, 0x0, 0x7ff",
        // above: ((Lba >> 12) * BlockLen) >> 8
        "0x1000000, 512, 8192, 0x0, 0x1000000",
        "0x10000000000, 4096, 4294967296, 0x100, 0x0",
    })
    void capacityInMegabytesByTheTwoComputations(String lba, long blockLen, long megabytes, String high, String low) {
        ObjectNode t = target(0);
        lun(t, 2).putObject("capacityRecord").put("lba", lba).put("blockLength", blockLen).put("mbytes", 77);
        load(t);
        LUN lun = new LUN(new TargetInfo(0, 0, 2));
        String out = capacityOf(lun);
        assertEquals(0, status);
        assertEquals(megabytes, lun.getLogicalBlockAddress());
        assertEquals(1, lun.getBytesPerBlock());
        assertEquals(megabytes, lun.getCapacityMegabytes());
        // The 64-bit Lba fills both %x of the line: its low word, then its high word.
        assertEquals("JNI-LUN(2) Size: LBA=" + low + ", BlockLength=" + high + ",Mbytes32=77, Mbytes64="
                + (int) megabytes + "\n", out);
        SimCall c = calls("SDSendReadMBCapacity").get(0);
        assertArrayEquals(new byte[20], c.record("capacity"));
        assertEquals("000000000200", HexFormat.of().formatHex(c.record("target"), 0, 6));
    }

    @Test
    void theNotMeasuredMarkerIsPassedThroughWithoutALine() {
        ObjectNode t = target(0);
        lun(t, 0).putObject("capacityRecord").put("lba", "0x1fefefefe").put("blockLength", 512);
        lun(t, 1).putObject("capacityRecord").put("lba", "0xfefefefe").put("blockLength", "0xfefefefe");
        lun(t, 2).putObject("capacityRecord").put("lba", 1000).put("blockLength", "0x2fefefefe");
        load(t);

        LUN a = new LUN(new TargetInfo(0, 0, 0));
        assertEquals("", capacityOf(a));
        assertEquals(0x1fefefefeL, a.getLogicalBlockAddress());
        assertEquals(1, a.getBytesPerBlock());
        assertEquals(-1, a.getCapacityMegabytes());

        LUN b = new LUN(new TargetInfo(0, 0, 1));
        assertEquals("", capacityOf(b));
        assertEquals(0xfefefefeL, b.getLogicalBlockAddress());
        assertEquals(0xfefefefeL, b.getBytesPerBlock());

        // Only the block length marked: the size is computed and printed, the length passed raw.
        LUN c = new LUN(new TargetInfo(0, 0, 2));
        String out = capacityOf(c);
        assertEquals((1000L * 0x2fefefefeL) >> 20, c.getLogicalBlockAddress());
        assertEquals(0x2fefefefeL, c.getBytesPerBlock());
        assertTrue(out.startsWith("JNI-LUN(2) Size: LBA=0x3e8, BlockLength=0x0,Mbytes32=0, Mbytes64="), out);
        assertEquals(0, status);
        assertEquals(NOT_MEASURED, (int) c.getBytesPerBlock());
    }

    @Test
    void capacityOfASimulatedLunFromReadCapacity() {
        ObjectNode t = target(0);
        lun(t, 0).put("blocks", 2097152).put("blockLength", 512);
        lun(t, 1).put("blocks", "0x300000000").put("blockLength", 4096);  // beyond READ CAPACITY(10)
        lun(t, 2);
        load(t);
        LUN a = new LUN(new TargetInfo(0, 0, 0));
        String out = capacityOf(a);
        assertEquals(1023, a.getCapacityMegabytes());  // 1 GiB less its last block
        assertEquals("JNI-LUN(0) Size: LBA=0x1fffff, BlockLength=0x0,Mbytes32=1024, Mbytes64=1023\n", out);

        LUN b = new LUN(new TargetInfo(0, 0, 1));
        capacityOf(b);
        assertEquals((((0x300000000L - 1) >> 12) * 4096) >> 8, b.getCapacityMegabytes());

        SimControl.fault("SDSendReadMBCapacity", 0x20000040, true);
        LUN c = new LUN(new TargetInfo(0, 0, 2));
        out = capacityOf(c);
        assertEquals(0x20000040, status);
        assertEquals("SDSendScsiReadCapacityCmdiSCSI returned 20000040\n", out);
        assertEquals(0, c.getLogicalBlockAddress());
    }

    // --- INQUIRY ----------------------------------------------------------------------------

    @Test
    void inquiryFillsTheStringsFromThe36BytesAskedFor() {
        ObjectNode t = target(5);
        lun(t, 1).put("vendor", "GRAYSTOR").put("product", "Tundra 12").put("revision", "1.0").put("serial",
                "TD12-0001");
        load(t);
        SCSIInqInfo inq = new SCSIInqInfo();
        TargetInfo ti = new TargetInfo(0, 5, 1);
        ti.setTargetState(4);
        ti.setSupportsTest(true);
        ti.setPerformBufferTest(true);
        String out = stdout(() -> status = api.getScsiInquiryData(0, ti, inq));
        assertEquals(0, status);
        assertEquals("", out);
        assertEquals("GRAYSTOR", inq.getVendorID());
        assertEquals("Tundra 12       ", inq.getProductID());
        assertEquals("1.0 ", inq.getRevision());
        // Beyond the 36 bytes asked for nothing arrives: serial number and extra data are empty,
        // and the header of a disk starts with a zero byte.
        assertEquals("", inq.getSerialNumber());
        assertEquals("", inq.getExtraData());
        assertEquals("", inq.getInquiryHeader());

        SimCall c = calls("SDSendScsiInquiryCmdiSCSI").get(0);
        assertEquals(36, c.arg("bufferSize"));
        assertEquals(256, c.arg("senseSize"));
        assertArrayEquals(new byte[36], c.record("buffer"));
        byte[] expected = new byte[136];
        expected[2] = 5;
        expected[4] = 1;
        expected[6] = 4;
        expected[8] = 1;
        expected[9] = 1;
        assertArrayEquals(expected, c.record("target"));
    }

    @Test
    void aFailedInquiryIsPrintedWithTheTargetId() {
        load(target(5));
        String out = stdout(() -> status = api.getScsiInquiryData(0, new TargetInfo(0, 5, 3), new SCSIInqInfo()));
        assertEquals(0x20000005, status);
        assertEquals("SDSendScsiInquiryCmdiSCSI returned 20000005, target ID = 5\n", out);
    }
}
