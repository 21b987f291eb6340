/**
 * Search that forgives errors, in words and in records of several fields.
 *
 * <p>Qualities are 0 to 255, where 255 is identical. Places in lists, fields and entries count from 0, the records of a base
 * from 1. Lengths and places in texts are bytes of UTF-8; texts themselves are Unicode in both directions, without zeros.
 *
 * <p>What fails throws {@link com.veltrane.jie.RuntimeException} with class, method and reason, a null where an object is needed
 * {@link java.lang.NullPointerException} with the argument's name. Messages go to the {@link com.veltrane.jie.AceReporter}
 * that a call is given, else to the default one.
 *
 * <p>An object is given up by {@code close} or {@code destroy}, or after it was forgotten; while a call uses it, it stays. Which
 * objects may be asked by several threads at once is told by the library's headers: maps, indexes and bases may.
 */
package com.veltrane.jie;
