package com.norvik.dvh.iscsi.model;

/**
 * Fields of the adapter's vital product data: the product description and the read-only keywords
 * part number, EC level, manufacture id, FRU number, CCIN and brand.
 */
public class VitalProductData {

    private String productDescription;
    private String partNumber;
    private String ecLevel;
    private String manufactureID;
    private String fruNumber;
    private String ccin;
    private String brand;

    public VitalProductData() {
    }

    public String getProductDescription() {
        return productDescription;
    }

    public void setProductDescription(String productDescription) {
        this.productDescription = productDescription;
    }

    public String getPartNumber() {
        return partNumber;
    }

    public void setPartNumber(String partNumber) {
        this.partNumber = partNumber;
    }

    public String getECLevel() {
        return ecLevel;
    }

    public void setECLevel(String ecLevel) {
        this.ecLevel = ecLevel;
    }

    public String getManufactureID() {
        return manufactureID;
    }

    public void setManufactureID(String manufactureID) {
        this.manufactureID = manufactureID;
    }

    public String getFRUNumber() {
        return fruNumber;
    }

    public void setFRUNumber(String fruNumber) {
        this.fruNumber = fruNumber;
    }

    public String getCCIN() {
        return ccin;
    }

    public void setCCIN(String ccin) {
        this.ccin = ccin;
    }

    public String getBrand() {
        return brand;
    }

    public void setBrand(String brand) {
        this.brand = brand;
    }

    @Override
    public String toString() {
        return "VitalProductData{productDescription=" + productDescription + ", partNumber=" + partNumber
                + ", ecLevel=" + ecLevel + ", manufactureID=" + manufactureID + ", fruNumber=" + fruNumber
                + ", ccin=" + ccin + ", brand=" + brand + "}";
    }
}
