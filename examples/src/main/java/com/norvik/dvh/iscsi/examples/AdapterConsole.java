package com.norvik.dvh.iscsi.examples;

import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.DevDBEntry;
import com.norvik.dvh.iscsi.model.HBA;
import java.util.ArrayList;
import java.util.Collections;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;

/**
 * A small management console: it keeps a view of the adapters' device databases (which targets
 * there are and the state of their sessions) and refreshes an adapter's view when one of its events
 * says something changed, on each {@link #poll()}.
 */
public final class AdapterConsole {

    /** Device state of an entry with an active session. */
    public static final int SESSION_ACTIVE = 4;

    private final ApiWrapper api;
    private final List<Integer> adapters = new ArrayList<>();
    private final Map<Integer, HBA> views = new TreeMap<>();
    private final Set<Integer> changed = new LinkedHashSet<>();
    private final List<String> messages = new ArrayList<>();
    private final Object host = new Object() {
        /** Called by the native library during an event fetch: adapter {@code dev} has news. */
        @SuppressWarnings("unused")
        public int jniAENCallBack(int dev, int updateMask, int numHwHBAs) {
            changed.add(dev);
            return 0;
        }
    };

    public AdapterConsole(ApiWrapper api) {
        this.api = api;
    }

    /** Opens every adapter, switches its events on and reads it. */
    public void start() {
        api.initJNINative();
        for (int dev = 0; dev < 32 && api.openDevice(dev); dev++) {
            adapters.add(dev);
        }
        for (int dev : adapters) {
            api.enableAENsForDevice(dev, 1, host);
            refresh(dev);
        }
    }

    /** Fetches each adapter's events and reads again the adapters they name. */
    public void poll() {
        for (int dev : adapters) {
            api.getAENsForDevice(dev, adapters.size(), host);
        }
        List<Integer> due = new ArrayList<>(changed);
        changed.clear();
        for (int dev : due) {
            refresh(dev);
        }
    }

    /** Switches events off and closes the adapters. */
    public void stop() {
        for (int dev : adapters) {
            api.disableAENsForDevice(dev, 0);
            api.closeDevice(dev);
        }
        adapters.clear();
    }

    /** Reads adapter {@code dev} again. */
    public void refresh(int dev) {
        HBA hba = new HBA(dev);
        int status = api.getiSCSIHBAData(dev, hba);
        if (status != 0) {
            messages.add(String.format("adapter %d: read incomplete (0x%x)", dev, status));
        }
        views.put(dev, hba);
    }

    /** The adapters opened. */
    public List<Integer> adapters() {
        return Collections.unmodifiableList(adapters);
    }

    /** Device database index to device state, as last read from adapter {@code dev}. */
    public Map<Integer, Integer> entryStates(int dev) {
        Map<Integer, Integer> out = new TreeMap<>();
        HBA hba = views.get(dev);
        if (hba != null) {
            for (DevDBEntry e : hba.getDeviceDataBaseEntries()) {
                out.put(e.getTargetID(), e.getState());
            }
        }
        return out;
    }

    /** The number of entries of adapter {@code dev} with an active session. */
    public long activeTargets(int dev) {
        return entryStates(dev).values().stream().filter(s -> s == SESSION_ACTIVE).count();
    }

    /**
     * Changes entry {@code targetId} of adapter {@code dev}: {@code edit} changes the entry as last
     * read, which is then written back. A refusal is kept as a message; the answer is the adapter's
     * status.
     */
    public int changeEntry(int dev, int targetId, java.util.function.Consumer<DevDBEntry> edit) {
        HBA hba = views.get(dev);
        DevDBEntry entry = null;
        if (hba != null) {
            for (DevDBEntry e : hba.getDeviceDataBaseEntries()) {
                if (e.getTargetID() == targetId) {
                    entry = e;
                }
            }
        }
        if (entry == null) {
            throw new IllegalArgumentException("adapter " + dev + " has no entry " + targetId);
        }
        edit.accept(entry);
        int status = api.setDDBData(dev, hba, entry, targetId);
        if (status != 0) {
            messages.add(String.format("adapter %d: entry %d not written (0x%x)", dev, targetId, status));
        }
        return status;
    }

    /** What the console told its user, oldest first. */
    public List<String> messages() {
        return Collections.unmodifiableList(messages);
    }
}
