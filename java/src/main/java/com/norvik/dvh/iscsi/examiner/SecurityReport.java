package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.annotation.JsonInclude;
import com.fasterxml.jackson.annotation.JsonPropertyOrder;
import com.norvik.dvh.iscsi.jni.ApiStatus;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.HBA;
import com.norvik.dvh.iscsi.model.IPAddr;
import com.norvik.dvh.iscsi.model.SecurityAssociationDetails;
import com.norvik.dvh.iscsi.model.SecurityPolicyEntry;
import com.norvik.dvh.iscsi.model.SecurityTransform;

import java.math.BigInteger;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * The adapter's IPsec engine for the examiner: version texts, the security policy table with each
 * policy's transforms and live security associations, and the engine's counters. Keys (pre-shared,
 * encryption, IV, authentication) are never part of the report; only whether keys are negotiated
 * or manual is shown.
 */
@JsonPropertyOrder({"firmwareVersion", "ikeVersion", "policies", "counters"})
public class SecurityReport {

    public String firmwareVersion;
    public String ikeVersion;
    public List<Policy> policies = new ArrayList<>();
    /** The forty counters in the adapter's record order. */
    public Map<String, BigInteger> counters = new LinkedHashMap<>();

    /**
     * Reads the policy table, the versions and the counters with the SAs; each call that does not
     * succeed adds a line to {@code problems}. Null when the engine reports nothing at all (no
     * version, no policy, every counter zero).
     */
    static SecurityReport gather(ApiWrapper api, int instance, List<String> problems) {
        HBA hba = new HBA(instance);
        check(problems, "getSecurityPoliciesTable", api.getSecurityPoliciesTable(instance, hba));
        check(problems, "getiSCSISecurityInfo", api.getiSCSISecurityInfo(instance, hba));
        check(problems, "getiSCSISecurityStatistics", api.getiSCSISecurityStatistics(instance, hba));
        SecurityReport r = new SecurityReport();
        r.firmwareVersion = emptyToNull(hba.getSecurityFWVersion());
        r.ikeVersion = emptyToNull(hba.getSecurityIKEVersion());
        for (int i = 0; i < hba.getNumberOfSecurityPolicyEntries(); i++) {
            r.policies.add(Policy.of(hba.getSecurityPolicyEntry(i)));
        }
        r.counters.putAll(hba.getSecurityStats().getCounters());
        boolean counted = r.counters.values().stream().anyMatch(v -> v.signum() != 0);
        return r.firmwareVersion == null && r.ikeVersion == null && r.policies.isEmpty() && !counted ? null : r;
    }

    private static void check(List<String> problems, String method, int status) {
        if (status != 0) {
            problems.add(method + ": status " + ApiStatus.hex(status));
        }
    }

    private static String emptyToNull(String s) {
        return s == null || s.isEmpty() ? null : s;
    }

    private static String orDash(Object o) {
        return o == null || o.toString().isEmpty() ? "-" : o.toString();
    }

    private static String address(IPAddr a) {
        return a == null ? null : a.toString();
    }

    void appendText(StringBuilder sb) {
        sb.append("  IPsec security\n");
        sb.append(String.format("    %-19s %s\n", "Firmware version:", orDash(firmwareVersion)));
        sb.append(String.format("    %-19s %s\n", "IKE version:", orDash(ikeVersion)));
        sb.append("    Policies: ").append(policies.size()).append('\n');
        for (Policy p : policies) {
            p.appendText(sb);
        }
        sb.append("    Counters\n");
        for (Map.Entry<String, BigInteger> c : counters.entrySet()) {
            sb.append(String.format("      %-26s %s\n", c.getKey() + ":", c.getValue()));
        }
    }

    /** One policy, without its keys. */
    @JsonPropertyOrder({"priority", "name", "kind", "action", "protocol", "source", "sourcePort", "destinationType",
        "destinationStart", "destinationEnd", "destinationPort", "tunnel", "keying", "spi", "associatedIke",
        "ikeMode", "ikePfs", "ikeDirection", "transforms", "securityAssociations"})
    @JsonInclude(JsonInclude.Include.NON_NULL)
    public static class Policy {
        public int priority;
        public String name;
        public int kind;
        public int action;
        public int protocol;
        public String source;
        public int sourcePort;
        public int destinationType;
        public String destinationStart;
        public String destinationEnd;
        public int destinationPort;
        public String tunnel;
        /** "IKE pre-shared key", "negotiated" or "manual". */
        public String keying;
        /** Manual SPI, only for manual keying. */
        public Long spi;
        public Integer associatedIke;
        public Integer ikeMode;
        public Boolean ikePfs;
        public Integer ikeDirection;
        public List<Transform> transforms = new ArrayList<>();
        public List<Association> securityAssociations = new ArrayList<>();

        static Policy of(SecurityPolicyEntry e) {
            Policy p = new Policy();
            p.priority = e.getPriority();
            p.name = e.getPolicyName();
            p.kind = e.getKind();
            p.action = e.getAction();
            p.protocol = e.getProtocol();
            p.source = address(e.getSourceAddr());
            p.sourcePort = e.getSourcePort();
            p.destinationType = e.getDestType();
            p.destinationStart = address(e.getDestStartAddr());
            p.destinationEnd = address(e.getDestEndAddr());
            p.destinationPort = e.getPort();
            IPAddr tunnel = e.getTunnelIPAddr();
            p.tunnel = tunnel == null || tunnel.isZero() ? null : tunnel.toString();
            if (e.getKind() == SecurityPolicyEntry.KIND_IKE) {
                p.keying = "IKE pre-shared key";
                p.ikeMode = e.getIKEMode();
                p.ikePfs = e.getIKEPFS();
                p.ikeDirection = e.getIKEDirection();
            } else {
                p.keying = e.getAutoIPSec() ? "negotiated" : "manual";
                p.associatedIke = e.getAssociatedIke();
                if (!e.getAutoIPSec()) {
                    p.spi = Integer.toUnsignedLong(e.getSPI());
                }
            }
            for (int i = 0; i < e.getNumTransforms(); i++) {
                p.transforms.add(Transform.of(e.getTransform(i)));
            }
            for (SecurityAssociationDetails sa : e.getSecurityAssociations()) {
                p.securityAssociations.add(Association.of(e.getKind() == SecurityPolicyEntry.KIND_IKE, sa));
            }
            return p;
        }

        void appendText(StringBuilder sb) {
            sb.append(String.format("    Policy %s (priority %s, kind %d): action %d, protocol %d\n", orDash(name),
                    Integer.toUnsignedString(priority), kind, action, protocol));
            sb.append(String.format("      From %s port %d to %s - %s port %d (type %d)%s\n", orDash(source),
                    sourcePort, orDash(destinationStart), orDash(destinationEnd), destinationPort, destinationType,
                    tunnel == null ? "" : ", tunnel " + tunnel));
            StringBuilder keys = new StringBuilder("      Keying: ").append(keying);
            if (spi != null) {
                keys.append(String.format(", SPI 0x%08x", spi));
            }
            if (associatedIke != null) {
                keys.append(", IKE policy ").append(Integer.toUnsignedString(associatedIke));
            }
            if (ikeMode != null) {
                keys.append(", mode ").append(ikeMode).append(", PFS ").append(ikePfs ? "on" : "off")
                        .append(", direction ").append(ikeDirection);
            }
            sb.append(keys).append('\n');
            for (Transform t : transforms) {
                t.appendText(sb);
            }
            sb.append("      Security associations: ").append(securityAssociations.size()).append('\n');
            for (Association a : securityAssociations) {
                a.appendText(sb);
            }
        }
    }

    /** One transform: its codes and lifetimes. */
    @JsonPropertyOrder({"type", "level", "encryptAlgo", "authAlgo", "ipsecMode", "group", "ikeAuthMethod",
        "kBytesLife", "secondsLife"})
    @JsonInclude(JsonInclude.Include.NON_NULL)
    public static class Transform {
        public int type;
        public int level;
        public int encryptAlgo;
        public int authAlgo;
        public Integer ipsecMode;
        public Integer group;
        public Integer ikeAuthMethod;
        public long kBytesLife;
        public long secondsLife;

        static Transform of(SecurityTransform t) {
            Transform x = new Transform();
            x.type = t.getType();
            x.level = t.getLevel();
            x.encryptAlgo = t.getEncryptAlgo();
            x.authAlgo = t.getAuthAlgo();
            if (t.getType() == SecurityTransform.TYPE_IKE) {
                x.group = t.getGroup();
                x.ikeAuthMethod = t.getIKEAuthMethod();
            } else {
                x.ipsecMode = t.getIPSecMode();
            }
            x.kBytesLife = Integer.toUnsignedLong(t.getKBytesLife());
            x.secondsLife = Integer.toUnsignedLong(t.getSecondsLife());
            return x;
        }

        void appendText(StringBuilder sb) {
            String params = ipsecMode != null ? "mode " + ipsecMode : "group " + group + ", IKE auth " + ikeAuthMethod;
            sb.append(String.format("      Transform type %d, level %d: encrypt %d, auth %d, %s, life %d s / %d KB\n",
                    type, level, encryptAlgo, authAlgo, params, secondsLife, kBytesLife));
        }
    }

    /** One live security association: an IKE SA of an IKE policy, IPsec SAs of the others. */
    @JsonInclude(JsonInclude.Include.NON_NULL)
    public static class Association {
        public String kind;
        public String remote;
        public Integer remotePort;
        public Integer status;
        public Integer exchangeType;
        public BigInteger spi;
        public Integer encryption;
        public Integer authentication;
        public BigInteger inPackets;
        public BigInteger inBytes;
        public BigInteger outPackets;
        public BigInteger outBytes;
        public BigInteger errors;

        static Association of(boolean ike, SecurityAssociationDetails d) {
            Association a = new Association();
            a.kind = ike ? "IKE" : "IPsec";
            if (ike) {
                a.remote = address(d.getIPAddress());
                a.remotePort = d.getRemotePort();
                a.status = d.getStatus();
                a.exchangeType = d.getExchangeType();
            } else {
                a.spi = d.getSPI();
                a.encryption = d.getInEncryptionAlg();
                a.authentication = d.getInAuthAlg();
                a.errors = d.getAuthErrors().add(d.getReplayErrors()).add(d.getPadErrors());
            }
            a.inPackets = d.getInPkts();
            a.inBytes = d.getInBytes();
            a.outPackets = d.getOutPkts();
            a.outBytes = d.getOutBytes();
            return a;
        }

        void appendText(StringBuilder sb) {
            String head = remote != null
                    ? String.format("IKE SA with %s port %d, status %d, exchange %d", remote, remotePort, status,
                            exchangeType)
                    : String.format("IPsec SA 0x%08x, encrypt %d, auth %d, errors %s", spi, encryption,
                            authentication, errors);
            sb.append(String.format("        %s; in %s packets / %s bytes, out %s packets / %s bytes\n", head,
                    inPackets, inBytes, outPackets, outBytes));
        }
    }
}
