package com.norvik.dvh.iscsi.model;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

class IPAddrTest {

    @Test
    void ipv4TextRoundTripsAndFillsTheFirstFourBytes() {
        IPAddr a = IPAddr.of("192.168.10.5");
        assertEquals("192.168.10.5", a.toString());
        short[] bytes = a.getAddress();
        assertEquals(16, bytes.length);
        assertArrayEquals(new short[] {192, 168, 10, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, bytes);
        assertEquals((short) 200, IPAddr.of("10.0.0.200").getAddressElement((short) 3));
    }

    @Test
    void ipv6IsExpandedAndPrintedAsHexGroups() {
        IPAddr a = IPAddr.of("fe80::2:1");
        assertEquals((short) 0xfe, a.getAddressElement((short) 0));
        assertEquals((short) 0x02, a.getAddressElement((short) 13));
        assertEquals((short) 0x01, a.getAddressElement((short) 15));
        assertEquals("fe80:0000:0000:0000:0000:0000:0002:0001", a.toString());
        assertEquals(a, IPAddr.of("fe80:0:0:0:0:0:2:1"));
    }

    @Test
    void setAddressKeepsTheLowByteAndSixteenElements() {
        IPAddr a = new IPAddr();
        short[] in = new short[20];
        in[0] = 300;
        in[1] = -1;
        in[15] = 7;
        in[19] = 9;
        a.setAddress(in);
        assertEquals((short) 44, a.getAddressElement((short) 0));
        assertEquals((short) 255, a.getAddressElement((short) 1));
        assertEquals((short) 7, a.getAddressElement((short) 15));
        a.setAddress(new short[] {1, 2});
        assertEquals("1.2.0.0", a.toString());
        assertThrows(IndexOutOfBoundsException.class, () -> a.getAddressElement((short) 16));
    }

    @Test
    void equalityFollowsTheBytes() {
        assertEquals(IPAddr.of("10.1.2.3"), IPAddr.of(" 10.1.2.3 "));
        assertEquals(IPAddr.of("10.1.2.3").hashCode(), IPAddr.of("10.1.2.3").hashCode());
        assertNotEquals(IPAddr.of("10.1.2.3"), IPAddr.of("10.1.2.4"));
        assertEquals(new IPAddr(), IPAddr.of("0.0.0.0"));
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "1.2.3", "1.2.3.4.5", "256.1.1.1", "1.2.3.-4", "a.b.c.d", "1..2.3", "1:2",
        "::1::", "12345::", "host.example"})
    void malformedTextIsRejected(String text) {
        assertThrows(IllegalArgumentException.class, () -> IPAddr.of(text));
    }
}
