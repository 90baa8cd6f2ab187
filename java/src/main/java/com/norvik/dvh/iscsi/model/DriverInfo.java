package com.norvik.dvh.iscsi.model;

/** Driver properties of an adapter. */
public class DriverInfo {

    private String driverVersion;
    private int driverAttribute;

    public DriverInfo() {
    }

    public String getDriverVersion() {
        return driverVersion;
    }

    public void setDriverVersion(String driverVersion) {
        this.driverVersion = driverVersion;
    }

    public int getDriverAttribute() {
        return driverAttribute;
    }

    public void setDriverAttribute(int driverAttribute) {
        this.driverAttribute = driverAttribute;
    }

    @Override
    public String toString() {
        return "DriverInfo{driverVersion=" + driverVersion + ", driverAttribute=0x"
                + Integer.toHexString(driverAttribute) + "}";
    }
}
