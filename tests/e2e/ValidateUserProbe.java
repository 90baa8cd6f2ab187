import com.norvik.dvh.iscsi.jni.ApiWrapper;

/**
 * Calls ApiWrapper.validateSystemUser for each (name, password) pair given on the command line and
 * writes one result a line to standard error; the native library's own lines go to standard output.
 * The password "&lt;null&gt;" stands for a null string.
 *
 * <p>Run as a single-file program: java -cp dvhiscsi.jar ValidateUserProbe.java NAME PASSWORD ...
 */
public class ValidateUserProbe {
    public static void main(String[] args) {
        ApiWrapper api = new ApiWrapper();
        for (int i = 0; i + 1 < args.length; i += 2) {
            String password = "<null>".equals(args[i + 1]) ? null : args[i + 1];
            int result = api.validateSystemUser(args[i], password);
            System.err.println(args[i] + " " + result);
        }
    }
}
