package vksettings;

import java.lang.ref.Cleaner;

/** Frees the native parts of objects that nobody refers to any more. */
final class Garbage {
    static final Cleaner CLEANER = Cleaner.create();

    private Garbage() {}
}
