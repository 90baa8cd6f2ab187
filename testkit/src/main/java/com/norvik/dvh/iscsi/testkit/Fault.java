package com.norvik.dvh.iscsi.testkit;

import java.lang.annotation.Documented;
import java.lang.annotation.ElementType;
import java.lang.annotation.Inherited;
import java.lang.annotation.Repeatable;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/**
 * Makes an SD function of the simulator answer {@link #status()} without doing its work, for a test
 * that uses {@link SimulatedAdapters}: on its next call only ({@code once = true}) or on every call.
 * Faults on the class apply to each of its tests, those on a method besides.
 */
@Documented
@Inherited
@Retention(RetentionPolicy.RUNTIME)
@Target({ElementType.TYPE, ElementType.METHOD})
@Repeatable(Faults.class)
public @interface Fault {

    /** The SD function, e.g. {@code "SDGetDDBEntry"}; a name the simulator does not export fails the test. */
    String function();

    /** The status it answers; the default is 0x20000003, an invalid parameter. */
    int status() default 0x20000003;

    /** Only the next call fails. */
    boolean once() default false;
}
