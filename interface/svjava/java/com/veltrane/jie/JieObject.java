package com.veltrane.jie;

import java.io.File;
import java.lang.ref.Cleaner;
import java.net.URISyntaxException;

/**
 * An object of the library. Close it, or use it in a try with resources; one that is forgotten goes with the
 * garbage collection, when the next objects are made or {@link SVUtils#deleteCppGarbage} is called.
 */
public abstract class JieObject implements AutoCloseable {
    private static final Cleaner CLEANER = Cleaner.create();

    static {
        load();
    }

    /** The library's wrapper; 0 for none. */
    long ref;

    JieObject() {
    }

    JieObject(long wrap, long serial) {
        adopt(wrap, serial);
    }

    private record Forgotten(long wrap, long serial) implements Runnable {
        @Override
        public void run() {
            release(wrap, serial);
        }
    }

    /** Called by the library for a new object. */
    final void adopt(long wrap, long serial) {
        ref = wrap;
        CLEANER.register(this, new Forgotten(wrap, serial));
    }

    /** Gives the object up. */
    public abstract void destroy();

    @Override
    public void close() {
        destroy();
    }

    private static native void release(long wrap, long serial);

    /** The library's number of a constant by its place in its enumeration. */
    static native int enumValue(String enumeration, int position);

    private static boolean isLoaded;

    /** Loads the library: beside the jar, from where it is installed with it, or else by java.library.path. */
    static synchronized void load() {
        if (isLoaded) {
            return;
        }
        File found = withJar();
        if (found != null) {
            System.load(found.getPath());
        } else {
            System.loadLibrary("sorvanta");
        }
        isLoaded = true;
    }

    private static File withJar() {
        try {
            File jar = new File(JieObject.class.getProtectionDomain().getCodeSource().getLocation().toURI());
            for (String place : new String[] {"libsorvanta.so", "../../lib/libsorvanta.so.0"}) {
                File library = new File(jar.getAbsoluteFile().getParentFile(), place);
                if (library.isFile()) {
                    return library;
                }
            }
            return null;
        } catch (URISyntaxException | SecurityException | NullPointerException | IllegalArgumentException e) {
            return null;
        }
    }
}
