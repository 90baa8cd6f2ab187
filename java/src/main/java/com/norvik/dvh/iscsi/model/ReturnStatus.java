package com.norvik.dvh.iscsi.model;

/** Outcome of a driver update: a status (0 = success) and its message. */
public class ReturnStatus {

    private int status;
    private String statusString;

    public ReturnStatus() {
    }

    public int getStatus() {
        return status;
    }

    public void setStatus(int status) {
        this.status = status;
    }

    public String getStatusString() {
        return statusString;
    }

    public void setStatusString(String statusString) {
        this.statusString = statusString;
    }

    @Override
    public String toString() {
        return "ReturnStatus{status=" + status + ", statusString=" + statusString + "}";
    }
}
