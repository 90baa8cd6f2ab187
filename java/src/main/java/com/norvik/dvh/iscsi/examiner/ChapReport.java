package com.norvik.dvh.iscsi.examiner;

import com.fasterxml.jackson.annotation.JsonPropertyOrder;
import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.model.CHAPTableEntry;
import com.norvik.dvh.iscsi.model.HBA;

import java.util.ArrayList;
import java.util.List;

/**
 * The adapter's CHAP table for the examiner: each named entry by flash index with its flags and
 * link. Secrets, and even their lengths, are never part of the report.
 */
@JsonPropertyOrder({"entries", "moreEntries"})
public class ChapReport {

    /** Status of a sparse read that filled its buffer while the adapter holds more entries. */
    static final int MORE_ENTRIES = 0x2000007E;

    public List<Entry> entries = new ArrayList<>();
    /** True when the adapter has more slots than one read returns. */
    public boolean moreEntries;

    /** One named CHAP entry. */
    @JsonPropertyOrder({"index", "name", "flags", "link"})
    public static class Entry {
        public int index;
        public String name;
        public int flags;
        public int link;
    }

    static ChapReport gather(ApiWrapper api, int instance, List<String> problems) {
        HBA hba = new HBA(instance);
        int status = api.getCHAPTableSparse(instance, hba);
        ChapReport r = new ChapReport();
        r.moreEntries = status == MORE_ENTRIES;
        ReportChecks.check(problems, "getCHAPTableSparse", r.moreEntries ? 0 : status);
        for (CHAPTableEntry e : hba.getCHAPTableEntries()) {
            // The read always hands over slot 0, in use or not.
            if (e.getChapName() == null || e.getChapName().isEmpty()) {
                continue;
            }
            Entry x = new Entry();
            x.index = e.getFlashIndex();
            x.name = e.getChapName();
            x.flags = e.getFlags();
            x.link = e.getLink();
            r.entries.add(x);
        }
        return r;
    }

    void appendText(StringBuilder sb) {
        sb.append("  CHAP table: ").append(ReportChecks.count(entries.size(), "entry", "entries"))
                .append(moreEntries ? " (the adapter holds more)" : "").append('\n');
        if (entries.isEmpty()) {
            return;
        }
        sb.append(String.format("    %-5s  %-40s  %-5s  %s\n", "Index", "Name", "Flags", "Link"));
        for (Entry e : entries) {
            sb.append(String.format("    %-5d  %-40s  0x%02x   %d\n", e.index, e.name, e.flags, e.link));
        }
    }
}
