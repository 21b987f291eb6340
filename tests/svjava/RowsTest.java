import com.veltrane.jie.*;
import java.nio.file.Files;
import java.nio.file.Path;

/** Operations that stand for themselves, and the handles of hosts in C++. */
final class RowsTest {
    private RowsTest() {
    }

    /** Small objects: each as it is made, asked and given up. */
    static void values() throws Exception {
        try (DastRecord record = new DastRecord(new String[] {"Anna", "Meier"}); DastRecord same = record.copyInstance()) {
            record.setString(1, "Weber");
            record.setFieldQuality(1, 200);
            HostTest.is(new String[] {"Anna", "Weber"}, same.getStrings());
            HostTest.is("Anna/Weber", same.getFullString("/"));
        }
        try (DastWrapAliasGenerator generator = new DastWrapAliasGenerator()) {
            generator.init("FIRSTNAME", "-alias_penalty 7");
            HostTest.is(new String[] {"Karl", "Heinz"}, generator.generateAliases("Karl-Heinz"));
            HostTest.is(new long[] {7, 7}, generator.getPenalties("Karl-Heinz"));
        }
        Path file = Files.createTempDirectory("svjava").resolve("whole.txt");
        try (WriteFileCache cache = new WriteFileCache(file.toString())) {
            cache.putString("one");
            HostTest.is(false, Files.exists(file));
        }
        HostTest.is("one", Files.readString(file));
        AceReporter silent = AceReporter.factory();
        silent.destroy();
        silent.destroy();
        HostTest.is(true, TeraEval.checkReason(1 << 5, TeraEval.Reason.TYPING_ERROR));
        HostTest.is(false, TeraEval.checkFlags(0x9000));
        SVTimeAnalysis.switchState(1);
        HostTest.is(true, SVTimeAnalysis.timeAnalysisNative()[0].contains("START"));
        SVTimeAnalysis.switchState(0);
        try (TeraMap map = HostTest.newMap(); TeraWord word = new TeraWord("meier", map);
             TeraWords words = TeraWords.altCreateInstance("anna|meier", "|", map)) {
            HostTest.is(4, word.getNumCommon("meir"));
            HostTest.is("a <b>meier</b>", map.makeTeaser("meier", "a meier"));
            HostTest.is(2, words.numWords());
            HostTest.is("=====", word.localizeResult("meier")[3]);
        }
        try (TeraMulti multi = new TeraMulti(); TeraIndex index = new TeraIndex(); TeraMapConfig config = new TeraMapConfig()) {
            config.setTokens("a-z ");
            try (TeraMap map = config.compile()) {
                index.listMake(new String[] {"eine zeile", "zwei"});
                multi.fromTeraIndex(index, map);
                HostTest.is("eine zeile", multi.getMultiword(0));
            }
        }
        try (DastCombination one = new DastCombination("one"); DastCombination copy = one.copy()) {
            one.set(200, 20, 3);
            HostTest.is(3, one.getNumSuggs());
            HostTest.is(true, copy.getNumSuggs() != 3);
        }
        Path log = file.resolveSibling("log.txt");
        EbosLog.init(log.toString());
        EbosLog.wprintf("full\n");
        EbosLog.destroyLog();
        HostTest.is(true, Files.readString(log).startsWith("WARNG["));
    }

    /** The handles answer as in C++; what walks over a result ends when the handle gets another one. */
    static void handles() throws Exception {
        Path folder = Files.createTempDirectory("svjava");
        String[] fields = {"given", "surname"};
        Files.writeString(folder.resolve("people.tab"), "Anna\tMeier\nPeter\tMeyer\n");
        StringBuilder template = new StringBuilder("FIELDS\t{\n");
        try (TeraMap map = HostTest.newMap(); DastBase base = new DastBase(fields, folder.toString())) {
            for (String field : fields) {
                base.assignInternal(field, "ADVANCED|CHANGING|FULL|ORIGINAL");
                base.configureTerm(field, map, "", "-min_value 150");
                template.append(field).append("\t{\n\tBUILD_FIELD\t").append(field).append("\n}\n");
            }
            base.make(folder.resolve("people.tab").toString());
            base.makeAllAccess();
            base.dump(folder.resolve("people.base").toString());
        }
        Files.writeString(folder.resolve("people.ses"), template + "}\nCOMBINATIONS\t{\ndefault\t{\n\tFIXED_CONFIG\t{\n}\n}\n}\n");
        Files.writeString(folder.resolve("people.ldb"), "main_svd\tpeople.base\nses\tpeople.ses\n");
        SorvantaSession session = new SorvantaSession();
        HostTest.is(0, session.getNumFields());
        SorvantaManager manager = new SorvantaManager();
        try (SorvantaLdbFile list = new SorvantaLdbFile(); SorvantaDataManager data = new SorvantaDataManager();
             SorvantaSessionResult result = new SorvantaSessionResult()) {
            HostTest.is(2, list.readFromFile("people.ldb", null, folder + "/"));
            data.load(list, manager, 1, folder + "/");
            manager.getSession(manager.createSession("people"), session);
            manager.destroy();
            data.destroy();  // the session keeps both
            session.update("surname", "Mayer", "?", result);
            SorvantaAlternative best = new SorvantaAlternative(result);
            HostTest.is("Meyer", best.getRep());
            HostTest.is(SVAlternativeStatus.IN_CONTEXT, best.getContextStatus());
            HostTest.is(true, best.goNext());
            session.suggest(result);
            HostTest.is(true, HostTest.failure(best::getRep).contains("has no kernel object"));
            session.destroy();
        }
    }
}
