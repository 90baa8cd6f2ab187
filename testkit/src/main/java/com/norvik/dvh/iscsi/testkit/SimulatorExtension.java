package com.norvik.dvh.iscsi.testkit;

import com.norvik.dvh.iscsi.jni.ApiWrapper;
import com.norvik.dvh.iscsi.sim.SimControl;
import java.io.IOException;
import java.io.InputStream;
import java.lang.reflect.AnnotatedElement;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import org.junit.jupiter.api.extension.AfterEachCallback;
import org.junit.jupiter.api.extension.BeforeEachCallback;
import org.junit.jupiter.api.extension.ExtensionConfigurationException;
import org.junit.jupiter.api.extension.ExtensionContext;
import org.junit.jupiter.api.extension.ParameterContext;
import org.junit.jupiter.api.extension.ParameterResolver;
import org.junit.platform.commons.support.AnnotationSupport;

/**
 * The JUnit 5 extension behind {@link SimulatedAdapters}: before each test it resets the simulator,
 * loads the test's scenario, sets its faults and chaos, opens the adapters when asked and empties
 * the call log; after each test, passed or failed, it closes those adapters and resets the simulator
 * again, so that nothing of one test (scenario, faults, events, clock, call log, open adapters)
 * reaches the next.
 */
public final class SimulatorExtension implements BeforeEachCallback, AfterEachCallback, ParameterResolver {

    private static final ExtensionContext.Namespace NS = ExtensionContext.Namespace.create(SimulatorExtension.class);

    /** What one test set up: its library handle and the adapters it opened. */
    private static final class Session {
        final ApiWrapper api = new ApiWrapper();
        final Simulator simulator = new Simulator();
        final List<Integer> opened = new ArrayList<>();
    }

    @Override
    public void beforeEach(ExtensionContext context) {
        NativeLibraries.load();
        SimulatedAdapters config = find(context).orElseThrow(() -> new ExtensionConfigurationException(
                "dvhiscsi test kit: " + context.getDisplayName() + " has no @SimulatedAdapters"));
        try {
            SimControl.reset();
        } catch (IllegalStateException e) {
            throw new IllegalStateException("dvhiscsi test kit: the simulator could not load its scenario: "
                    + e.getMessage());
        }
        Session session = new Session();
        context.getStore(NS).put(Session.class, session);
        loadScenario(config, context);
        for (AnnotatedElement where : places(context)) {
            for (Fault f : AnnotationSupport.findRepeatableAnnotations(where, Fault.class)) {
                if (f.once()) {
                    session.simulator.faultOnce(f.function(), f.status());
                } else {
                    session.simulator.fault(f.function(), f.status());
                }
            }
        }
        if (config.chaosSeed() != 0) {
            SimControl.chaos(config.chaosSeed(), config.chaosFaultPerMille(), config.chaosGarblePerMille());
        }
        if (config.open()) {
            session.api.initJNINative();
            for (int instance = 0; instance < 32 && session.api.openDevice(instance); instance++) {
                session.opened.add(instance);
            }
        }
        SimControl.clearCallLog();
    }

    @Override
    public void afterEach(ExtensionContext context) {
        Session session = context.getStore(NS).remove(Session.class, Session.class);
        if (session == null) {
            return;
        }
        SimControl.clearFaults();
        SimControl.chaos(0, 0, 0);
        for (int instance : session.opened) {
            session.api.closeDevice(instance);
        }
        SimControl.reset();
    }

    @Override
    public boolean supportsParameter(ParameterContext parameter, ExtensionContext context) {
        Class<?> type = parameter.getParameter().getType();
        return type == ApiWrapper.class || type == Simulator.class;
    }

    @Override
    public Object resolveParameter(ParameterContext parameter, ExtensionContext context) {
        Session session = context.getStore(NS).get(Session.class, Session.class);
        if (session == null) {
            throw new ExtensionConfigurationException("dvhiscsi test kit: " + parameter.getParameter().getType().getSimpleName()
                    + " is given to test methods only, not to constructors or class-level callbacks");
        }
        return parameter.getParameter().getType() == ApiWrapper.class ? session.api : session.simulator;
    }

    /** The method's annotation, else its class's, else an enclosing class's. */
    private static Optional<SimulatedAdapters> find(ExtensionContext context) {
        for (AnnotatedElement where : reversed(places(context))) {
            Optional<SimulatedAdapters> a = AnnotationSupport.findAnnotation(where, SimulatedAdapters.class);
            if (a.isPresent()) {
                return a;
            }
        }
        return Optional.empty();
    }

    /** The outermost class first, the test method last. */
    private static List<AnnotatedElement> places(ExtensionContext context) {
        List<AnnotatedElement> out = new ArrayList<>();
        for (Class<?> c = context.getRequiredTestClass(); c != null; c = c.getEnclosingClass()) {
            out.add(0, c);
        }
        out.add(context.getRequiredTestMethod());
        return out;
    }

    private static List<AnnotatedElement> reversed(List<AnnotatedElement> list) {
        List<AnnotatedElement> out = new ArrayList<>(list);
        java.util.Collections.reverse(out);
        return out;
    }

    private static void loadScenario(SimulatedAdapters config, ExtensionContext context) {
        int given = (config.scenario().isEmpty() ? 0 : 1) + (config.resource().isEmpty() ? 0 : 1)
                + (config.recording().isEmpty() ? 0 : 1) + (config.builder().isEmpty() ? 0 : 1);
        if (given > 1) {
            throw new ExtensionConfigurationException("dvhiscsi test kit: @SimulatedAdapters of " + context.getDisplayName()
                    + " names more than one of scenario, resource, recording and builder");
        }
        String file = !config.scenario().isEmpty() ? config.scenario() : config.recording();
        if (!file.isEmpty()) {
            String absolute = Path.of(file).toAbsolutePath().toString();
            try {
                SimControl.loadScenarioFile(absolute);
            } catch (IllegalArgumentException e) {
                throw new IllegalStateException(
                        "dvhiscsi test kit: scenario " + absolute + " could not be loaded: " + e.getMessage());
            }
        } else if (!config.resource().isEmpty()) {
            String name = config.resource().startsWith("/") ? config.resource() : "/" + config.resource();
            load("class-path resource " + name, readResource(name, context));
        } else if (!config.builder().isEmpty()) {
            load("scenario of " + config.builder() + "()", fromBuilder(config.builder(), context));
        }
    }

    private static void load(String what, String json) {
        try {
            SimControl.loadScenario(json);
        } catch (IllegalArgumentException e) {
            throw new IllegalStateException("dvhiscsi test kit: " + what + " could not be loaded: " + e.getMessage());
        }
    }

    private static String readResource(String name, ExtensionContext context) {
        Class<?> test = context.getRequiredTestClass();
        try (InputStream in = test.getResourceAsStream(name)) {
            if (in == null) {
                throw new IllegalStateException("dvhiscsi test kit: class-path resource " + name + " not found");
            }
            return new String(in.readAllBytes(), StandardCharsets.UTF_8);
        } catch (IOException e) {
            throw new IllegalStateException("dvhiscsi test kit: class-path resource " + name + ": " + e.getMessage());
        }
    }

    private static String fromBuilder(String name, ExtensionContext context) {
        Class<?> test = context.getRequiredTestClass();
        for (Class<?> c = test; c != null; c = c.getEnclosingClass()) {
            for (Class<?> k = c; k != null; k = k.getSuperclass()) {
                try {
                    Method m = k.getDeclaredMethod(name);
                    if (!Modifier.isStatic(m.getModifiers())) {
                        break;
                    }
                    m.setAccessible(true);
                    Object result = m.invoke(null);
                    if (result instanceof ScenarioBuilder) {
                        return ((ScenarioBuilder) result).toJson();
                    }
                    if (result instanceof String) {
                        return (String) result;
                    }
                    throw new ExtensionConfigurationException("dvhiscsi test kit: " + name
                            + "() returns neither a ScenarioBuilder nor JSON text");
                } catch (NoSuchMethodException e) {
                    // look further out
                } catch (ReflectiveOperationException e) {
                    throw new IllegalStateException("dvhiscsi test kit: " + name + "() failed: " + e.getCause(), e);
                }
            }
        }
        throw new ExtensionConfigurationException("dvhiscsi test kit: no static method " + name
                + "() without parameters in " + test.getName() + " or its enclosing classes");
    }
}
