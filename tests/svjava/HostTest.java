import com.veltrane.jie.*;
import java.io.File;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Objects;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.atomic.AtomicInteger;

/** A host in Java. The argument names what is looked at; a failed check ends it with a stack trace. */
public final class HostTest {
    private static final String[] WORDS = {"Mayer", "Meier", "Maier", "Müller", "Weber", "Meyer"};

    static void is(Object expected, Object actual) {
        if (!Objects.deepEquals(expected, actual)) {
            throw new AssertionError("expected " + expected + ", actual " + actual);
        }
    }

    static String failure(Runnable call) {
        try {
            call.run();
        } catch (java.lang.RuntimeException exception) {
            return exception.getMessage();
        }
        return "no exception";
    }

    static TeraMap newMap() {
        try (TeraMapConfig config = new TeraMapConfig()) {
            config.setTokens("A-Z0-9");
            config.mapUpper();
            config.deaccentuate();
            return config.compile();
        }
    }

    private static TeraEdit newIndex(TeraMap map) {
        TeraEdit edit = new TeraEdit(map);
        edit.fromStringArray(WORDS, map);
        return edit;
    }

    private static void words() throws Exception {
        try (TeraMap map = newMap(); TeraEdit edit = newIndex(map); TeraResult result = new TeraResult("meyer", 100);
             TeraWord word = new TeraWord("meyer", map)) {
            is(6, edit.recall(result, TeraEval.Mode.LEVENSHTEIN, TeraEval.Model.MAXIMUM));
            result.highFirst();
            is("Meyer", result.candidates()[0]);
            int seen = 0;
            for (TeraCandGroup group = result.getFirstGroup(); group != null; group = group.getNext()) {
                for (TeraCand cand = group.getFirstCand(); cand != null; cand = cand.getNext(), ++seen) {
                    is(word.leven(cand.represent()), group.getValue());
                    is(WORDS[(int) cand.getInfos()[0]], cand.represent());
                }
            }
            is(6, seen);
            // Parts of a result end when it changes; an image makes an equal index, a damaged one none.
            TeraCand best = result.getBestCand();
            try (TeraResult copy = result.copyInstance()) {
                copy.cut(200);  // of the same result
                is(result.numCands(), copy.numCands());
            }
            is("TeraCand.represent: this has no kernel object; it was destroyed, or given away", failure(best::represent));
            byte[] image = edit.toBuffer();
            try (TeraEdit copy = TeraEdit.fromBuffer(image)) {
                is(true, Arrays.equals(image, copy.toBuffer()));
            }
            is(true, failure(() -> TeraEdit.fromBuffer(Arrays.copyOf(image, 100))) != "no exception");
            // All characters come back; a zero is refused; a half of a character is not taken for a whole one.
            try (TeraIndex index = new TeraIndex()) {
                index.listMake(new String[] {"x\ud83d\ude00y", "plain", "\u00fc\u20ac", "half \ud83d."});
                is("x\ud83d\ude00y", index.getLine(0));
                is("\u00fc\u20ac", index.getLine(2));
                is("half \ufffd.", index.getLine(3));
                try (TeraEdit built = TeraEdit.factory(); TeraMap own = edit.getMapConfig()) {
                    built.fromTeraIndex(index, own);
                    is(0, own.compare("Plain", "plain"));
                    TeraResult plain = new TeraResult("PLAIN", 200);
                    built.recall(plain);
                    is(1L, plain.getBestCand().getInfos()[0]);
                }
                is("TeraIndex.search: key has a zero", failure(() -> index.search("a\0b")));
                is("TeraIndex.getLine: id is no number from 0 to 4294967295", failure(() -> index.getLine(-1)));
                is(null, index.getLine(4));
                is("TeraIndex.search: code -1 returned", failure(() -> index.search("not sorted")));
            }
            is(TeraEval.Mode.WILDCARD, TeraEval.getEnumMode("wildcard"));
            is("text", failure(() -> map.tokLen(null)).replace("in", "text"));
            is(true, failure(() -> new TeraMapConfig().setTokens("Z-A")).startsWith("TeraMapConfig.setTokens: "));
        }
    }

    private static void session() throws Exception {
        Path folder = Files.createTempDirectory("svjava");
        String[] fields = {"given", "surname", "city"};
        Path records = folder.resolve("people.tab");
        Files.writeString(records, "Anna\tMeier\tBasel\nPeter\tMeyer\tBern\nPierre\tMoulin\tGenf\nJürg\tMüller\tZürich\n");
        DastBase base;
        try (TeraMap map = newMap(); DastBase built = new DastBase(fields, folder.toString())) {
            for (String field : fields) {
                built.assignInternal(field, "ADVANCED|CHANGING|FULL|ORIGINAL");
                built.configure(field, "EDIT", map, "", "-min_value 150");
            }
            built.make(records.toString());
            built.makeAllAccess();
            base = DastBase.fromBuffer(built.toBuffer());
        }
        is(5L, base.numRecords());
        is("Jürg", base.getLine(4)[0]);
        StringBuilder template = new StringBuilder("FIELDS\t{\n");
        for (String field : fields) {
            template.append(field).append("\t{\n\tBUILD_FIELD\t").append(field).append("\n}\n");
        }
        template.append("}\nCOMBINATIONS\t{\ndefault\t{\n\tMIN_CONF\t180\n\tFIXED_CONFIG\t{\n"
                + "\t\tLOGIC\t(given&surname&city)\n\t}\n}\n}\n");
        DastSession session = new DastSession(base, false, template.toString());
        base.destroy();  // the session keeps it
        base.destroy();
        is("DastBase.numRecords: this has no kernel object; it was destroyed, or given away", failure(base::numRecords));
        try (DastResult typed = session.updateResult("surname", "Mayer")) {
            is(2, typed.getNumAlts());
            is(DastStatus.Match.IN_CONTEXT, typed.getFieldStatus(1).getStatus());
            DastResult found = session.search(new String[] {"?", "?", "?"}, new String[] {"Jurg", "Muller", "Zurich"});
            is(new String[] {"Jürg", "Müller", "Zürich"}, found.getSugg(0).getRep());
            DastSuggestion first = found.getSugg(0);
            is(3, first.getQualities().length);
            is(0, first.copy(first));
            session.cache(found);
            is(true, failure(first::getQuality).contains("has no kernel object"));
            try (DastResult kept = session.getCachedResult()) {
                session.clearAll();
                is("Zürich", kept.getSugg(0).getRep()[2]);
            }
            is("DastResult.getNumSuggs: this has no kernel object; it was destroyed, or given away",
               failure(found::getNumSuggs));
            session.destroy();
            is("Mayer", typed.getFieldStatus(1).getString());  // a result outlives its session
        }
        try (var files = Files.walk(folder)) {
            files.sorted(java.util.Comparator.reverseOrder()).map(Path::toFile).forEach(File::delete);
        }
    }

    private static final class Collector extends AceReporter {
        private final List<String> texts = new ArrayList<>();

        @Override
        protected synchronized void report(String text) {
            texts.add(text);
        }

        @Override
        protected synchronized void event(String text, String code) {
            texts.add(code + " " + text);
        }
    }

    private static void reporters() {
        Collector collector = new Collector();
        collector.setAsDefault();
        collector.print("\u00e4\ud83d\ude00");
        is(List.of("\u00e4\ud83d\ude00"), collector.texts);
        is(true, failure(() -> new DastBase(new String[] {"a"}).configure("a", "NOTHING")).contains("code -1"));
        is(true, collector.texts.get(1).startsWith("wSORV_0000 No method 'NOTHING'"));
        AceReporter broken = new AceReporter() {
            @Override
            protected void report(String text) {
                throw new IllegalStateException("no room");
            }
        };
        try (TeraIndex index = new TeraIndex()) {
            is("TeraIndex.print: Reporter failed", failure(() -> index.print(broken)));
        }
        broken.destroy();
        // What is given up in a report, or by another thread, stays until the call returns; what is asked for keeps its
        // reporter.
        AceReporter leaving = new AceReporter() {
            @Override
            protected void report(String text) {
                destroy();
            }
        };
        try (TeraIndex index = new TeraIndex()) {
            index.print(leaving);
        }
        int[] meanwhile = {0};
        try (TeraIndex index = new TeraIndex(); AceReporter other = new AceReporter() {
            @Override
            protected void report(String text) {
                CompletableFuture.runAsync(index::destroy).join();
                meanwhile[0] = SVUtils.numCppObjects();
            }
        }) {
            int all = SVUtils.numCppObjects();
            index.print(other);
            is(all, meanwhile[0]);
            is(all - 1, SVUtils.numCppObjects());
        }
        AceReporter known = AceReporter.getDefaultReporter();
        collector.destroy();
        known.print("late");
        is("late", collector.texts.get(collector.texts.size() - 1));
        known.destroy();
        SVUtils.log("nobody hears this");
    }

    private static void threads() throws Exception {
        try (TeraMap map = newMap(); TeraEdit edit = newIndex(map)) {
            AtomicInteger failures = new AtomicInteger();
            List<Thread> threads = new ArrayList<>();
            for (int i = 0; i < 8; ++i) {
                Thread thread = new Thread(() -> {
                    for (int k = 0; k < 500; ++k) {
                        try (TeraResult result = new TeraResult(WORDS[k % WORDS.length], 200)) {
                            edit.recall(result);
                            result.highFirst();
                            if (!result.candidates()[0].equals(WORDS[k % WORDS.length])) {
                                failures.incrementAndGet();
                            }
                        }
                    }
                });
                threads.add(thread);
                thread.start();
            }
            for (Thread thread : threads) {
                thread.join();
            }
            is(0, failures.get());
        }
    }

    /** What is destroyed beside calls of others goes when these are done. */
    private static void destroyedMeanwhile() throws Exception {
        collect();
        int before = SVUtils.numCppObjects();
        for (int round = 0; round < 50; ++round) {
            TeraMap map = newMap();
            TeraEdit edit = newIndex(map);
            List<Thread> threads = new ArrayList<>();
            AtomicInteger ended = new AtomicInteger();
            for (int i = 0; i < 3; ++i) {
                Thread thread = new Thread(() -> {
                    try (TeraResult result = new TeraResult("meyer", 200)) {
                        while (edit.recall(result) > 0) {
                            continue;
                        }
                    } catch (com.veltrane.jie.RuntimeException exception) {
                        is("TeraEdit.recall: this has no kernel object; it was destroyed, or given away", exception.getMessage());
                        ended.incrementAndGet();
                    }
                });
                threads.add(thread);
                thread.start();
            }
            Thread.sleep(0, 100_000 * (round % 10));
            map.destroy();
            edit.destroy();
            for (Thread thread : threads) {
                thread.join();
            }
            is(3, ended.get());
        }
        SVUtils.deleteCppGarbage();
        is(before, SVUtils.numCppObjects());
    }

    /** An index that is built anew beside calls is asked before or after, or that call or the build is refused. */
    private static void changedMeanwhile() throws Exception {
        try (TeraMap map = newMap(); TeraEdit edit = newIndex(map)) {
            List<String> wrong = Collections.synchronizedList(new ArrayList<>());
            List<Thread> threads = new ArrayList<>();
            for (int i = 0; i < 4; ++i) {
                boolean builds = i < 2;
                Thread thread = new Thread(() -> {
                    for (int k = 0; k < 2000; ++k) {
                        try (TeraResult result = new TeraResult("meyer", 200)) {
                            if (builds) {
                                edit.fromStringArray(WORDS, map);
                            } else if (edit.recall(result) < 1) {
                                wrong.add("nothing found");
                            }
                        } catch (com.veltrane.jie.RuntimeException exception) {
                            if (!exception.getMessage().matches(".*: (this is being changed by another call|Another call (changes|uses) .*)")) {
                                wrong.add(exception.getMessage());
                            }
                        }
                    }
                });
                threads.add(thread);
                thread.start();
            }
            for (Thread thread : threads) {
                thread.join();
            }
            is("[]", wrong.toString());
            edit.fromStringArray(WORDS, map);
        }
    }

    private static void collect() throws Exception {
        for (int i = 0; i < 10; ++i) {
            System.gc();
            Thread.sleep(10);
            SVUtils.deleteCppGarbage();
        }
    }

    /** Growing numbers of objects are warned of, as often as is asked for, when garbage is deleted. */
    private static void leaks() throws Exception {
        Collector collector = new Collector();
        collector.setAsDefault();
        collect();
        SVUtils.setTrace("CHECK_SCRIPT_MEMLEAK", 1);
        SVUtils.deleteCppGarbage();
        List<TeraResult> kept = new ArrayList<>();
        for (int i = 0; i < 40; ++i) {
            kept.add(new TeraResult("kept", 100));
        }
        int most = SVUtils.numCppObjects();
        SVUtils.deleteCppGarbage();
        kept.remove(0).destroy();
        SVUtils.deleteCppGarbage();
        is(true, collector.texts.get(0).contains("Potential Leak: New maximum of " + most + " scripting objects reached"));
        is(true, collector.texts.get(1).contains("Average value of scripting objects increased to " + (most - 38)));
        is(true, collector.texts.get(2).contains("Gained 39 scripting objects since beginning and 39 since last (assumed)"));
        int told = collector.texts.size();
        SVUtils.setTrace("JIE_NO_LEAK_WARNING", 1);
        for (int i = 0; i < 40; ++i) {
            kept.add(new TeraResult("kept", 100));
        }
        SVUtils.deleteCppGarbage();
        is(told, collector.texts.size());
        is(79, kept.size());
    }

    /** What is forgotten is given back: the number of living objects does not grow with those made. */
    private static void garbage() throws Exception {
        collect();
        int before = SVUtils.numCppObjects();
        TeraMap map = newMap();
        TeraWord word = new TeraWord("meyer", map);
        map.destroy();
        map = null;
        collect();
        is(before + 2, SVUtils.numCppObjects());  // the word keeps the map, of which Java has told twice
        is(255, word.leven("meyer"));
        word.destroy();
        is(before, SVUtils.numCppObjects());
        int most = 0;
        for (int round = 0; round < 20; ++round) {
            for (int i = 0; i < 5000; ++i) {
                new TeraResult("forgotten", 100);
            }
            System.gc();
            for (int wait = 0; wait < 500 && SVUtils.numCppObjects() > 6000; ++wait) {
                Thread.sleep(20);
                SVUtils.deleteCppGarbage();
            }
            most = Math.max(most, SVUtils.numCppObjects());
        }
        is(true, most < 20000);
    }

    /** Pages of this process that are in memory. */
    private static long resident() throws Exception {
        return Long.parseLong(Files.readString(Path.of("/proc/self/statm")).split(" ")[1]);
    }

    /** Memory stays as it is over a million objects that are forgotten, each with a text and a need. */
    private static void million() throws Exception {
        try (TeraMap map = newMap()) {
            long settled = 0;
            for (int i = 0; i < 1_000_000; ++i) {
                new TeraWord("forgotten", map);
                if (i % 100_000 == 99_999) {
                    collect();
                }
                if (i == 199_999) {
                    settled = resident();
                }
            }
            is(true, SVUtils.numCppObjects() < 50_000);
            is(true, resident() - settled < 16 << 8);  // 16 MiB
        }
    }

    /** Every native method, on an object that was destroyed and with nothing for arguments: an exception or a value. */
    private static void everything() throws Exception {
        String path = System.getProperty("classes");
        int called = 0;
        for (String name : path.split(",")) {
            Class<?> type = Class.forName("com.veltrane.jie." + name);
            for (Method method : type.getDeclaredMethods()) {
                if (!Modifier.isNative(method.getModifiers()) || !Modifier.isPublic(method.getModifiers())
                        || method.getName().matches("measureSpeed|terminateThread|makeThreadSafe|clearDefault")) {
                    continue;
                }
                Object empty = null;
                if (!Modifier.isStatic(method.getModifiers())) {
                    var make = type.getDeclaredConstructor(long.class, long.class);
                    make.setAccessible(true);
                    empty = make.newInstance(0L, 0L);
                }
                Object[] arguments = new Object[method.getParameterCount()];
                for (int i = 0; i < arguments.length; ++i) {
                    Class<?> kind = method.getParameterTypes()[i];
                    arguments[i] = kind == int.class ? (Object) 0 : kind == long.class ? (Object) 0L
                            : kind == boolean.class ? (Object) false : kind == double.class ? (Object) 0.0 : null;
                }
                try {
                    method.invoke(empty, arguments);
                } catch (InvocationTargetException exception) {
                    is(true, exception.getCause() instanceof com.veltrane.jie.RuntimeException
                            || exception.getCause() instanceof NullPointerException);
                }
                ++called;
            }
        }
        System.out.println(called + " native methods called");
        is(true, called > 350);
    }

    public static void main(String[] arguments) throws Exception {
        if (!arguments[0].equals("reporters")) {
            AceReporter.getNullReporter().setAsDefault();
        }
        switch (arguments[0]) {
            case "words" -> words();
            case "session" -> session();
            case "reporters" -> reporters();
            case "threads" -> {
                threads();
                destroyedMeanwhile();
                changedMeanwhile();
            }
            case "garbage" -> garbage();
            case "leaks" -> leaks();
            case "million" -> million();
            case "values" -> RowsTest.values();
            case "handles" -> RowsTest.handles();
            case "everything" -> everything();
            default -> throw new IllegalArgumentException(arguments[0]);
        }
        System.out.println("all is well");
    }
}
