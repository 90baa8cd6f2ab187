package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.annotation.JsonPropertyOrder;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.VitalProductData;

import java.util.List;

/**
 * The adapter's vital product data for the examiner: the product description and the read-only
 * keywords, each as the native library cuts it from the image, without trailing blanks.
 */
@JsonPropertyOrder({"productDescription", "partNumber", "ecLevel", "manufactureId", "fruNumber", "ccin", "brand"})
public class VpdReport {

    public String productDescription;
    public String partNumber;
    public String ecLevel;
    public String manufactureId;
    public String fruNumber;
    public String ccin;
    public String brand;

    static VpdReport gather(ApiWrapper api, int instance, List<String> problems) {
        VitalProductData v = new VitalProductData();
        ReportChecks.check(problems, "getIBMVPD", api.getIBMVPD(instance, v));
        VpdReport r = new VpdReport();
        r.productDescription = trimmed(v.getProductDescription());
        r.partNumber = trimmed(v.getPartNumber());
        r.ecLevel = trimmed(v.getECLevel());
        r.manufactureId = trimmed(v.getManufactureID());
        r.fruNumber = trimmed(v.getFRUNumber());
        r.ccin = trimmed(v.getCCIN());
        r.brand = trimmed(v.getBrand());
        return r;
    }

    /** Fields are blank-padded to their width in the image. */
    private static String trimmed(String s) {
        return s == null ? null : s.stripTrailing();
    }

    void appendText(StringBuilder sb) {
        sb.append("  Vital product data\n");
        ReportChecks.line(sb, "Description", productDescription);
        ReportChecks.line(sb, "Part number", partNumber);
        ReportChecks.line(sb, "EC level", ecLevel);
        ReportChecks.line(sb, "Manufacture id", manufactureId);
        ReportChecks.line(sb, "FRU number", fruNumber);
        ReportChecks.line(sb, "CCIN", ccin);
        ReportChecks.line(sb, "Brand", brand);
    }
}
