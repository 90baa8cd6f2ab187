package com.norvik.dvh.iscsi.model;

/** The adapter's boot code settings. */
public class BootInfo {

    private boolean enabled;

    public BootInfo() {
    }

    /** True when the adapter's boot code is enabled. */
    public boolean getEnabled() {
        return enabled;
    }

    public void setEnabled(boolean enabled) {
        this.enabled = enabled;
    }

    @Override
    public String toString() {
        return "BootInfo{enabled=" + enabled + "}";
    }
}
