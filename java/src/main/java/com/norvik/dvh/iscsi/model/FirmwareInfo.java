package com.norvik.dvh.iscsi.model;

/** Firmware and portal version properties of an adapter. */
public class FirmwareInfo {

    private int firmwareAttribute;
    private String iSCSIVersion;
    private String optRomVersion;
    private String firmwareVersion;
    private String chipModel;

    public FirmwareInfo() {
    }

    public int getFirmwareAttribute() {
        return firmwareAttribute;
    }

    public void setFirmwareAttribute(int firmwareAttribute) {
        this.firmwareAttribute = firmwareAttribute;
    }

    public String getiSCSIVersion() {
        return iSCSIVersion;
    }

    public void setiSCSIVersion(String iSCSIVersion) {
        this.iSCSIVersion = iSCSIVersion;
    }

    public String getOptRomVersion() {
        return optRomVersion;
    }

    public void setOptRomVersion(String optRomVersion) {
        this.optRomVersion = optRomVersion;
    }

    public String getFirmwareVersion() {
        return firmwareVersion;
    }

    public void setFirmwareVersion(String firmwareVersion) {
        this.firmwareVersion = firmwareVersion;
    }

    public String getChipModel() {
        return chipModel;
    }

    public void setChipModel(String chipModel) {
        this.chipModel = chipModel;
    }

    @Override
    public String toString() {
        return "FirmwareInfo{firmwareVersion=" + firmwareVersion + ", firmwareAttribute=0x"
                + Integer.toHexString(firmwareAttribute) + ", iSCSIVersion=" + iSCSIVersion + ", optRomVersion="
                + optRomVersion + ", chipModel=" + chipModel + "}";
    }
}
