import com.veltrane.jie.*;
import java.util.Arrays;
import java.util.function.IntConsumer;

/** What a call from Java costs, beside one that does nothing. Prints nanoseconds, medians of interleaved rounds. */
public final class BindingsBench {
    private static final int CALLS = 1_000_000;
    private static final int ROUNDS = 15;

    static native int emptyNumber(long object);

    static native String emptyText(long object, String text);

    private static volatile Object kept;
    private static volatile int number;

    private static double time(IntConsumer call) {
        long start = System.nanoTime();
        for (int i = 0; i < CALLS; ++i) {
            call.accept(i);
        }
        return (double) (System.nanoTime() - start) / CALLS;
    }

    private static void compare(String what, IntConsumer ours, IntConsumer peer) {
        double[] ourTimes = new double[ROUNDS];
        double[] peerTimes = new double[ROUNDS];
        for (int i = -3; i < ROUNDS; ++i) {  // the first ones are compiled meanwhile
            double our = time(ours);
            double other = time(peer);
            if (i >= 0) {
                ourTimes[i] = our;
                peerTimes[i] = other;
            }
        }
        Arrays.sort(ourTimes);
        Arrays.sort(peerTimes);
        System.out.printf("%-28s %8.1f ns   empty %8.1f ns%n", what, ourTimes[ROUNDS / 2], peerTimes[ROUNDS / 2]);
    }

    public static void main(String[] arguments) {
        System.load(arguments[0]);
        AceReporter.getNullReporter().setAsDefault();
        TeraMap map = TeraMap.getIdentMap();
        TeraResult result = new TeraResult("query", 100);
        compare("Java: number", i -> number = result.getMinValue(), i -> number = emptyNumber(i));
        compare("Java: text in, number out", i -> number = map.tokLen("abcdef"), i -> number = emptyNumber(i));
        compare("Java: text in and out", i -> kept = map.normalize("abcdef"), i -> kept = emptyText(i, "abcdef"));
    }
}
