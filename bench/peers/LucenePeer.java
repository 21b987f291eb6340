import java.io.BufferedReader;
import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import org.apache.lucene.analysis.Analyzer;
import org.apache.lucene.analysis.TokenStream;
import org.apache.lucene.analysis.standard.StandardAnalyzer;
import org.apache.lucene.analysis.tokenattributes.CharTermAttribute;
import org.apache.lucene.document.Document;
import org.apache.lucene.document.Field;
import org.apache.lucene.document.StoredField;
import org.apache.lucene.document.TextField;
import org.apache.lucene.index.DirectoryReader;
import org.apache.lucene.index.IndexWriter;
import org.apache.lucene.index.IndexWriterConfig;
import org.apache.lucene.index.Term;
import org.apache.lucene.search.BooleanClause;
import org.apache.lucene.search.BooleanQuery;
import org.apache.lucene.search.FuzzyQuery;
import org.apache.lucene.search.IndexSearcher;
import org.apache.lucene.search.ScoreDoc;
import org.apache.lucene.store.Directory;
import org.apache.lucene.store.MMapDirectory;
import org.apache.lucene.util.Version;

/** Lucene over the lines of FOLDER/records: a fuzzy query with two errors for each word of each field, boosted alike. */
public final class LucenePeer {
  private static final int BEST = 10;
  private static final int ERRORS = 2;
  private static final double SECONDS = 60;
  private final Path folder;
  private final Analyzer analyzer = new StandardAnalyzer();

  private LucenePeer(Path folder) {
    this.folder = folder;
  }

  public static void main(String[] args) throws IOException {
    LucenePeer peer = new LucenePeer(Path.of(args[0]));
    Path index = Files.createTempDirectory("lucene");
    try (Directory directory = new MMapDirectory(index.toFile())) {
      double built = peer.build(directory);
      peer.ask(directory, index.toFile(), built);
    } finally {
      for (File file : index.toFile().listFiles()) file.delete();
      Files.delete(index);
    }
  }

  private double build(Directory directory) throws IOException {
    long start = System.nanoTime();
    IndexWriterConfig config = new IndexWriterConfig(Version.LATEST, analyzer).setRAMBufferSizeMB(256);
    try (IndexWriter writer = new IndexWriter(directory, config);
        BufferedReader lines = Files.newBufferedReader(folder.resolve("records"))) {
      int record = 0;
      for (String line; (line = lines.readLine()) != null; ) {
        Document document = new Document();
        document.add(new StoredField("id", ++record));
        int field = 0;
        for (String value : line.split("\t", -1)) document.add(new TextField("f" + field++, value, Field.Store.NO));
        writer.addDocument(document);
      }
      writer.forceMerge(1);
    }
    return (System.nanoTime() - start) * 1e-9;
  }

  private void ask(Directory directory, File index, double built) throws IOException {
    try (DirectoryReader reader = DirectoryReader.open(directory)) {
      IndexSearcher searcher = new IndexSearcher(reader);
      List<Double> times = null;
      int found = 0;
      for (int round = 0; round < 2; ++round) { // the first one compiles
        times = new ArrayList<>();
        found = 0;
        long end = System.nanoTime() + (long) (SECONDS / 2 * 1e9);
        for (String line : Files.readAllLines(folder.resolve("queries"))) {
          String[] values = line.split("\t", -1);
          long start = System.nanoTime();
          if (start > end) break;
          ScoreDoc[] best = searcher.search(query(values), BEST).scoreDocs;
          times.add((System.nanoTime() - start) * 1e-3);
          for (ScoreDoc hit : best) if (searcher.doc(hit.doc).get("id").equals(values[0])) ++found;
        }
      }
      Collections.sort(times);
      System.out.printf(
          "median %f us, 99 %% %f us, memory %f MB, found %d of %d, built in %f s%n",
          times.get(times.size() / 2), times.get(times.size() * 99 / 100), megabytes(index), found, times.size(), built);
    }
  }

  private BooleanQuery query(String[] values) throws IOException {
    BooleanQuery query = new BooleanQuery();
    for (int i = 1; i < values.length; ++i) {
      String field = "f" + (i - 1);
      try (TokenStream words = analyzer.tokenStream(field, values[i])) {
        CharTermAttribute word = words.addAttribute(CharTermAttribute.class);
        words.reset();
        while (words.incrementToken()) {
          FuzzyQuery fuzzy = new FuzzyQuery(new Term(field, word.toString()), ERRORS);
          fuzzy.setBoost(1);
          query.add(fuzzy, BooleanClause.Occur.SHOULD);
        }
        words.end();
      }
    }
    return query;
  }

  /** The files, which are mapped, and the heap. */
  private static double megabytes(File index) {
    long bytes = 0;
    for (File file : index.listFiles()) bytes += file.length();
    System.gc();
    Runtime runtime = Runtime.getRuntime();
    return (bytes + runtime.totalMemory() - runtime.freeMemory()) / 1e6;
  }
}
