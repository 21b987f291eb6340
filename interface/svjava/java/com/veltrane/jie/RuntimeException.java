package com.veltrane.jie;

/** What the library could not do, with class and method in front of the reason. */
public class RuntimeException extends java.lang.RuntimeException {
    private static final long serialVersionUID = 1L;

    public RuntimeException(String message) {
        super(message);
    }
}
