package com.norvik.dvh.iscsi.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertSame;

import java.lang.invoke.MethodType;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.math.BigInteger;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.Test;

/**
 * What the native side looks up on the security classes, by name and exact JNI signature: a
 * changed parameter type would only show at run time, as status 4097.
 */
class SecurityContractTest {

    private static final String P = "Lcom/norvik/dvh/iscsi/model/";

    private static List<String> contract() {
        List<String> c = new ArrayList<>(List.of(
                "HBA addSecurityPolicyEntry (" + P + "SecurityPolicyEntry;)V",
                "HBA setSecurityFWVersion (Ljava/lang/String;)V", "HBA setSecurityIKEVersion (Ljava/lang/String;)V",
                "HBA getSecurityStats ()" + P + "SecurityStats;", "HBA getNumberOfSecurityPolicyEntries ()I",
                "HBA getSecurityPolicyEntry (I)" + P + "SecurityPolicyEntry;",
                "SecurityPolicyEntry addTransform (" + P + "SecurityTransform;)V",
                "SecurityPolicyEntry getTransform (I)" + P + "SecurityTransform;",
                "SecurityPolicyEntry clearSADetails ()V",
                "SecurityPolicyEntry addSecurityAssociation (" + P + "SecurityAssociationDetails;)V",
                "SecurityPolicyEntry getStatusChangeBitMap ()I", "SecurityPolicyEntry getEnabledTarget ()I",
                "SecurityPolicyEntry getNumTransforms ()I", "SecurityPolicyEntry setPort (I)V",
                "SecurityPolicyEntry getPort ()I", "SecurityPolicyEntry setIKEPFS (Z)V",
                "SecurityPolicyEntry getIKEPFS ()Z", "SecurityPolicyEntry setAutoIPSec (Z)V",
                "SecurityPolicyEntry getAutoIPSec ()Z"));
        for (String n : List.of("Kind", "Priority", "Protocol", "DestType", "Action", "IKEMode", "IKEDirection",
                "SPI", "AssociatedIke", "SourcePort")) {
            c.add("SecurityPolicyEntry set" + n + " (I)V");
            c.add("SecurityPolicyEntry get" + n + " ()I");
        }
        for (String n : List.of("PolicyName", "AuthKey", "EncryptKey", "EncryptIV", "PreSharedKey")) {
            c.add("SecurityPolicyEntry set" + n + " (Ljava/lang/String;)V");
            c.add("SecurityPolicyEntry get" + n + " ()Ljava/lang/String;");
        }
        for (String n : List.of("EncryptKeyLen", "EncryptIVLen", "AuthKeyLen", "PreSharedKeyLen")) {
            c.add("SecurityPolicyEntry get" + n + " ()I");
        }
        for (String n : List.of("TunnelIPAddr", "SourceAddr", "DestStartAddr", "DestEndAddr")) {
            c.add("SecurityPolicyEntry set" + n + " (" + P + "IPAddr;)V");
            c.add("SecurityPolicyEntry get" + n + " ()" + P + "IPAddr;");
        }
        for (String n : List.of("Level", "EncryptAlgo", "IPSecMode", "AuthAlgo", "KBytesLife", "SecondsLife", "Group",
                "IKEAuthMethod", "Type")) {
            c.add("SecurityTransform set" + n + " (I)V");
            c.add("SecurityTransform get" + n + " ()I");
        }
        for (String n : SecurityStats.COUNTERS) {
            c.add("SecurityStats set" + n + " ([B)V");
        }
        for (String n : List.of("PolicyPriority", "RemotePort", "LocalPort", "Status", "ExchangeType", "OutAuthAlg",
                "InAuthAlg", "InEncryptionAlg", "OutEncryptionAlg")) {
            c.add("SecurityAssociationDetails set" + n + " (I)V");
        }
        for (String n : List.of("PeerMajorVersion", "PeerMinorVersion", "LocallyInitiated")) {
            c.add("SecurityAssociationDetails set" + n + " (S)V");
        }
        for (String n : List.of("InitiatorCookie", "ResponderCookie", "SADOI", "Time", "OutPkts", "InPkts", "OutBytes",
                "InBytes", "OutHardTimeLimit", "InHardTimeLimit", "OutHardByteLimit", "InHardByteLimit",
                "OutSoftTimeLimit", "InSoftTimeLimit", "OutSoftByteLimit", "InSoftByteLimit", "ReplayWindowSize", "SPI",
                "AuthErrors", "ReplayErrors", "PadErrors")) {
            c.add("SecurityAssociationDetails set" + n + " ([B)V");
        }
        c.add("SecurityAssociationDetails setIPAddress (" + P + "IPAddr;)V");
        return c;
    }

    @Test
    void everyAccessorTheNativeSideLooksUpExistsWithItsExactSignature() throws Exception {
        List<String> missing = new ArrayList<>();
        for (String line : contract()) {
            String[] f = line.split(" ");
            if (!has(Class.forName("com.norvik.dvh.iscsi.model." + f[0]), f[1], f[2])) {
                missing.add(line);
            }
        }
        assertEquals(List.of(), missing);
        for (String cls : List.of("SecurityPolicyEntry", "SecurityTransform", "SecurityAssociationDetails")) {
            Class.forName("com.norvik.dvh.iscsi.model." + cls).getConstructor();
        }
    }

    @Test
    void countersAreNonNegativeBigIntegersOfTheBytesGiven() {
        SecurityStats s = new SecurityStats();
        assertEquals(40, s.getCounters().size());
        assertEquals(BigInteger.ZERO, s.getIPsecUknownSPIErrors());
        s.setTotalOutIPsecPkts(new byte[] {0, -1, -1, -1, -1, -1, -1, -1, -1});
        assertEquals(new BigInteger("18446744073709551615"), s.getCounter("TotalOutIPsecPkts"));
    }

    @Test
    void keyLengthsAreTheKeysUtf8LengthsAndPoliciesAreFoundByPosition() {
        SecurityPolicyEntry p = new SecurityPolicyEntry();
        assertEquals(0, p.getEncryptKeyLen());
        p.setEncryptKey("ké");
        assertEquals(3, p.getEncryptKeyLen());
        assertNull(p.getTransform(0));
        HBA hba = new HBA();
        hba.addSecurityPolicyEntry(p);
        assertSame(p, hba.getSecurityPolicyEntry(0));
        assertNull(hba.getSecurityPolicyEntry(1));
        assertNull(hba.getSecurityPolicyEntry(-1));
    }

    private static boolean has(Class<?> c, String name, String descriptor) {
        for (Method m : c.getMethods()) {
            if (m.getName().equals(name) && !Modifier.isStatic(m.getModifiers())
                    && MethodType.methodType(m.getReturnType(), m.getParameterTypes()).descriptorString()
                            .equals(descriptor)) {
                return true;
            }
        }
        return false;
    }
}
