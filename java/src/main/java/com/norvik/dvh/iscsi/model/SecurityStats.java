package com.norvik.dvh.iscsi.model;

import java.math.BigInteger;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * The forty counters of the adapter's IPsec engine. The native side hands each counter over as a
 * big-endian byte array whose first byte is zero, so every value is a non-negative {@link
 * BigInteger}; a counter never set reads as zero.
 */
public class SecurityStats {

    /** The counter names in the adapter's record order. */
    public static final List<String> COUNTERS = List.of(
            "TotalOutIPsecPkts",
            "TotalInIPsecPkts",
            "OutDiscardIPsecPkts",
            "InDiscardIPsecPkts",
            "OutBypassIPsecPkts",
            "InBypassIPsecPkts",
            "TotalCreatedIPsecSAs",
            "TotalMatchIPsecSAs",
            "TotalMisMatchIPsecSAs",
            "TotalIPsecSABundles",
            "OutEncryptFailIPsecCount",
            "OutAuthFailIPsecCount",
            "InUnknownProtocolIPsec",
            "InUnknownAlgorithmIPsec",
            "CurrentInESPSAs",
            "CurrentOutESPSAs",
            "TotalInESPSAs",
            "TotalOutESPSAs",
            "CurrentIKESAs",
            "CurrentInitIKESAs",
            "CurrentRespIKESAs",
            "TotalInitIKESAs",
            "TotalRespIKESAs",
            "TotalAttemptedIKESAs",
            "TotalAttemptedInitIKESAs",
            "TotalAttemptedRespIKESAs",
            "TotalInIKEPkts",
            "TotalOutIKEPkts",
            "TotalInIKEBytes",
            "TotalOutIKEBytes",
            "IPsecDecryptionErrors",
            "IPsecAuthErrors",
            "IPsecReplayErrors",
            "IPsecPolicyErrors",
            "IPsecOtherRxErrors",
            "IPsecTxErrors",
            "IPsecUknownSPIErrors",
            "TotalNoIKEResponses",
            "TotalIKEResponseErrors",
            "TotalInvalidIKECookies");

    private final Map<String, BigInteger> values = new LinkedHashMap<>();

    public SecurityStats() {
        for (String name : COUNTERS) {
            values.put(name, BigInteger.ZERO);
        }
    }

    /** The value of counter {@code name} (one of {@link #COUNTERS}). */
    public BigInteger getCounter(String name) {
        BigInteger v = values.get(name);
        if (v == null) {
            throw new IllegalArgumentException("no security counter " + name);
        }
        return v;
    }

    /** Every counter in record order (read-only view). */
    public Map<String, BigInteger> getCounters() {
        return Collections.unmodifiableMap(values);
    }

    /** Stores counter {@code name} from the big-endian bytes a setter received. */
    protected void put(String name, byte[] bigEndian) {
        values.put(name, bigEndian == null || bigEndian.length == 0 ? BigInteger.ZERO : new BigInteger(bigEndian));
    }

    public void setTotalOutIPsecPkts(byte[] value) {
        put("TotalOutIPsecPkts", value);
    }

    public BigInteger getTotalOutIPsecPkts() {
        return values.get("TotalOutIPsecPkts");
    }

    public void setTotalInIPsecPkts(byte[] value) {
        put("TotalInIPsecPkts", value);
    }

    public BigInteger getTotalInIPsecPkts() {
        return values.get("TotalInIPsecPkts");
    }

    public void setOutDiscardIPsecPkts(byte[] value) {
        put("OutDiscardIPsecPkts", value);
    }

    public BigInteger getOutDiscardIPsecPkts() {
        return values.get("OutDiscardIPsecPkts");
    }

    public void setInDiscardIPsecPkts(byte[] value) {
        put("InDiscardIPsecPkts", value);
    }

    public BigInteger getInDiscardIPsecPkts() {
        return values.get("InDiscardIPsecPkts");
    }

    public void setOutBypassIPsecPkts(byte[] value) {
        put("OutBypassIPsecPkts", value);
    }

    public BigInteger getOutBypassIPsecPkts() {
        return values.get("OutBypassIPsecPkts");
    }

    public void setInBypassIPsecPkts(byte[] value) {
        put("InBypassIPsecPkts", value);
    }

    public BigInteger getInBypassIPsecPkts() {
        return values.get("InBypassIPsecPkts");
    }

    public void setTotalCreatedIPsecSAs(byte[] value) {
        put("TotalCreatedIPsecSAs", value);
    }

    public BigInteger getTotalCreatedIPsecSAs() {
        return values.get("TotalCreatedIPsecSAs");
    }

    public void setTotalMatchIPsecSAs(byte[] value) {
        put("TotalMatchIPsecSAs", value);
    }

    public BigInteger getTotalMatchIPsecSAs() {
        return values.get("TotalMatchIPsecSAs");
    }

    public void setTotalMisMatchIPsecSAs(byte[] value) {
        put("TotalMisMatchIPsecSAs", value);
    }

    public BigInteger getTotalMisMatchIPsecSAs() {
        return values.get("TotalMisMatchIPsecSAs");
    }

    public void setTotalIPsecSABundles(byte[] value) {
        put("TotalIPsecSABundles", value);
    }

    public BigInteger getTotalIPsecSABundles() {
        return values.get("TotalIPsecSABundles");
    }

    public void setOutEncryptFailIPsecCount(byte[] value) {
        put("OutEncryptFailIPsecCount", value);
    }

    public BigInteger getOutEncryptFailIPsecCount() {
        return values.get("OutEncryptFailIPsecCount");
    }

    public void setOutAuthFailIPsecCount(byte[] value) {
        put("OutAuthFailIPsecCount", value);
    }

    public BigInteger getOutAuthFailIPsecCount() {
        return values.get("OutAuthFailIPsecCount");
    }

    public void setInUnknownProtocolIPsec(byte[] value) {
        put("InUnknownProtocolIPsec", value);
    }

    public BigInteger getInUnknownProtocolIPsec() {
        return values.get("InUnknownProtocolIPsec");
    }

    public void setInUnknownAlgorithmIPsec(byte[] value) {
        put("InUnknownAlgorithmIPsec", value);
    }

    public BigInteger getInUnknownAlgorithmIPsec() {
        return values.get("InUnknownAlgorithmIPsec");
    }

    public void setCurrentInESPSAs(byte[] value) {
        put("CurrentInESPSAs", value);
    }

    public BigInteger getCurrentInESPSAs() {
        return values.get("CurrentInESPSAs");
    }

    public void setCurrentOutESPSAs(byte[] value) {
        put("CurrentOutESPSAs", value);
    }

    public BigInteger getCurrentOutESPSAs() {
        return values.get("CurrentOutESPSAs");
    }

    public void setTotalInESPSAs(byte[] value) {
        put("TotalInESPSAs", value);
    }

    public BigInteger getTotalInESPSAs() {
        return values.get("TotalInESPSAs");
    }

    public void setTotalOutESPSAs(byte[] value) {
        put("TotalOutESPSAs", value);
    }

    public BigInteger getTotalOutESPSAs() {
        return values.get("TotalOutESPSAs");
    }

    public void setCurrentIKESAs(byte[] value) {
        put("CurrentIKESAs", value);
    }

    public BigInteger getCurrentIKESAs() {
        return values.get("CurrentIKESAs");
    }

    public void setCurrentInitIKESAs(byte[] value) {
        put("CurrentInitIKESAs", value);
    }

    public BigInteger getCurrentInitIKESAs() {
        return values.get("CurrentInitIKESAs");
    }

    public void setCurrentRespIKESAs(byte[] value) {
        put("CurrentRespIKESAs", value);
    }

    public BigInteger getCurrentRespIKESAs() {
        return values.get("CurrentRespIKESAs");
    }

    public void setTotalInitIKESAs(byte[] value) {
        put("TotalInitIKESAs", value);
    }

    public BigInteger getTotalInitIKESAs() {
        return values.get("TotalInitIKESAs");
    }

    public void setTotalRespIKESAs(byte[] value) {
        put("TotalRespIKESAs", value);
    }

    public BigInteger getTotalRespIKESAs() {
        return values.get("TotalRespIKESAs");
    }

    public void setTotalAttemptedIKESAs(byte[] value) {
        put("TotalAttemptedIKESAs", value);
    }

    public BigInteger getTotalAttemptedIKESAs() {
        return values.get("TotalAttemptedIKESAs");
    }

    public void setTotalAttemptedInitIKESAs(byte[] value) {
        put("TotalAttemptedInitIKESAs", value);
    }

    public BigInteger getTotalAttemptedInitIKESAs() {
        return values.get("TotalAttemptedInitIKESAs");
    }

    public void setTotalAttemptedRespIKESAs(byte[] value) {
        put("TotalAttemptedRespIKESAs", value);
    }

    public BigInteger getTotalAttemptedRespIKESAs() {
        return values.get("TotalAttemptedRespIKESAs");
    }

    public void setTotalInIKEPkts(byte[] value) {
        put("TotalInIKEPkts", value);
    }

    public BigInteger getTotalInIKEPkts() {
        return values.get("TotalInIKEPkts");
    }

    public void setTotalOutIKEPkts(byte[] value) {
        put("TotalOutIKEPkts", value);
    }

    public BigInteger getTotalOutIKEPkts() {
        return values.get("TotalOutIKEPkts");
    }

    public void setTotalInIKEBytes(byte[] value) {
        put("TotalInIKEBytes", value);
    }

    public BigInteger getTotalInIKEBytes() {
        return values.get("TotalInIKEBytes");
    }

    public void setTotalOutIKEBytes(byte[] value) {
        put("TotalOutIKEBytes", value);
    }

    public BigInteger getTotalOutIKEBytes() {
        return values.get("TotalOutIKEBytes");
    }

    public void setIPsecDecryptionErrors(byte[] value) {
        put("IPsecDecryptionErrors", value);
    }

    public BigInteger getIPsecDecryptionErrors() {
        return values.get("IPsecDecryptionErrors");
    }

    public void setIPsecAuthErrors(byte[] value) {
        put("IPsecAuthErrors", value);
    }

    public BigInteger getIPsecAuthErrors() {
        return values.get("IPsecAuthErrors");
    }

    public void setIPsecReplayErrors(byte[] value) {
        put("IPsecReplayErrors", value);
    }

    public BigInteger getIPsecReplayErrors() {
        return values.get("IPsecReplayErrors");
    }

    public void setIPsecPolicyErrors(byte[] value) {
        put("IPsecPolicyErrors", value);
    }

    public BigInteger getIPsecPolicyErrors() {
        return values.get("IPsecPolicyErrors");
    }

    public void setIPsecOtherRxErrors(byte[] value) {
        put("IPsecOtherRxErrors", value);
    }

    public BigInteger getIPsecOtherRxErrors() {
        return values.get("IPsecOtherRxErrors");
    }

    public void setIPsecTxErrors(byte[] value) {
        put("IPsecTxErrors", value);
    }

    public BigInteger getIPsecTxErrors() {
        return values.get("IPsecTxErrors");
    }

    public void setIPsecUknownSPIErrors(byte[] value) {
        put("IPsecUknownSPIErrors", value);
    }

    public BigInteger getIPsecUknownSPIErrors() {
        return values.get("IPsecUknownSPIErrors");
    }

    public void setTotalNoIKEResponses(byte[] value) {
        put("TotalNoIKEResponses", value);
    }

    public BigInteger getTotalNoIKEResponses() {
        return values.get("TotalNoIKEResponses");
    }

    public void setTotalIKEResponseErrors(byte[] value) {
        put("TotalIKEResponseErrors", value);
    }

    public BigInteger getTotalIKEResponseErrors() {
        return values.get("TotalIKEResponseErrors");
    }

    public void setTotalInvalidIKECookies(byte[] value) {
        put("TotalInvalidIKECookies", value);
    }

    public BigInteger getTotalInvalidIKECookies() {
        return values.get("TotalInvalidIKECookies");
    }

    @Override
    public String toString() {
        return "SecurityStats" + values;
    }
}
