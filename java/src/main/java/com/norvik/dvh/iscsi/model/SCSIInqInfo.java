package com.norvik.dvh.iscsi.model;

/**
 * The standard INQUIRY data of a LUN as strings: the 8 header bytes, vendor (8 bytes), product (16),
 * revision (4), the serial number and the extra data of the vendor-specific part. Each is cut at its
 * first zero byte; the native side asks for the first 36 bytes only, so serial number and extra data
 * come out empty. Vendor, product and revision are space-padded as the device sends them.
 */
public class SCSIInqInfo {

    private String inquiryHeader;
    private String vendorID;
    private String productID;
    private String revision;
    private String serialNumber;
    private String extraData;

    public SCSIInqInfo() {
    }

    public String getInquiryHeader() {
        return inquiryHeader;
    }

    public void setInquiryHeader(String inquiryHeader) {
        this.inquiryHeader = inquiryHeader;
    }

    public String getVendorID() {
        return vendorID;
    }

    public void setVendorID(String vendorID) {
        this.vendorID = vendorID;
    }

    public String getProductID() {
        return productID;
    }

    public void setProductID(String productID) {
        this.productID = productID;
    }

    public String getRevision() {
        return revision;
    }

    public void setRevision(String revision) {
        this.revision = revision;
    }

    public String getSerialNumber() {
        return serialNumber;
    }

    public void setSerialNumber(String serialNumber) {
        this.serialNumber = serialNumber;
    }

    public String getExtraData() {
        return extraData;
    }

    public void setExtraData(String extraData) {
        this.extraData = extraData;
    }

    @Override
    public String toString() {
        return "SCSIInqInfo{vendorID=" + vendorID + ", productID=" + productID + ", revision=" + revision
                + ", serialNumber=" + serialNumber + "}";
    }
}
