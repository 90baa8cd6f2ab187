package com.norvik.dvh.iscsi.model;

/** A model object the engine's tests build by name and hand to an adder. */
public class ProbeItem {
    private int id;
    private String name;

    public void setId(int id) {
        this.id = id;
    }

    public void setName(String name) {
        this.name = name;
    }

    public int getId() {
        return id;
    }

    public String getName() {
        return name;
    }
}
