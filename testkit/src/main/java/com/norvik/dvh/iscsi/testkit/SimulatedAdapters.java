package com.norvik.dvh.iscsi.testkit;

import java.lang.annotation.Documented;
import java.lang.annotation.ElementType;
import java.lang.annotation.Inherited;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;
import org.junit.jupiter.api.extension.ExtendWith;
import org.junit.jupiter.api.parallel.ResourceLock;

/**
 * Runs a test class or method against the simulated adapters: the simulator (the stand-in
 * {@code libizksdm.so}) is reset before and after every test, loaded with the scenario named here,
 * given the {@link Fault}s and the chaos asked for, and the adapters are opened when {@link #open()}
 * is set. Test methods may take an {@link com.norvik.dvh.iscsi.jni.ApiWrapper} and a {@link Simulator}
 * as parameters.
 *
 * <p>At most one of {@link #scenario()}, {@link #resource()}, {@link #recording()} and
 * {@link #builder()} names the scenario; with none the simulator's built-in default scenario (two
 * adapters) is used. An annotation on a method replaces the one on its class.
 *
 * <p>The simulator is one per process, so every test that uses it holds the resource lock
 * {@value #LOCK}: under JUnit's parallel execution those tests run one at a time while the rest of
 * the suite runs in parallel.
 */
@Documented
@Inherited
@Retention(RetentionPolicy.RUNTIME)
@Target({ElementType.TYPE, ElementType.METHOD})
@ExtendWith(SimulatorExtension.class)
@ResourceLock(SimulatedAdapters.LOCK)
public @interface SimulatedAdapters {

    /** The resource lock every test on the simulator holds. */
    String LOCK = "com.norvik.dvh.iscsi.simulator";

    /** A scenario file (JSON in the simulator's scenario format), relative to the working folder. */
    String scenario() default "";

    /** A scenario on the class path, e.g. {@code "/scenarios/two-targets.json"}. */
    String resource() default "";

    /** A recording written by the recording proxy ({@code IZKSDM_RECORD_FILE}); it loads as a scenario. */
    String recording() default "";

    /**
     * The name of a static method of the test class, without parameters, that returns a
     * {@link ScenarioBuilder} or the scenario's JSON text.
     */
    String builder() default "";

    /** Opens the adapters (instances 0, 1, ... until one fails) before the test, closes them after. */
    boolean open() default false;

    /** Seed of the simulator's random faults and damaged records; 0 (the default) is no chaos. */
    long chaosSeed() default 0;

    /** With a chaos seed: the share of SD calls that fail, per mille. */
    int chaosFaultPerMille() default 50;

    /** With a chaos seed: the share of records handed back damaged, per mille. */
    int chaosGarblePerMille() default 0;
}
