package com.norvik.dvh.iscsi.catalog;

import java.util.concurrent.atomic.AtomicLong;

/** An object with the event callback the native event methods call; counts the calls. */
public class AenSink {

    public final AtomicLong calls = new AtomicLong();
    public final AtomicLong lastMask = new AtomicLong();

    public AenSink() {
    }

    public int jniAENCallBack(int instance, int mask, int count) {
        calls.incrementAndGet();
        lastMask.set(((long) instance << 32) | (mask & 0xFFFFFFFFL));
        return 0;
    }
}
