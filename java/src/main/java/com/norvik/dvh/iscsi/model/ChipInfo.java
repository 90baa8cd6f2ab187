package com.norvik.dvh.iscsi.model;

/** Chip properties of an adapter. */
public class ChipInfo {

    private String boardModel;
    private int chipVersion;

    public ChipInfo() {
    }

    public String getBoardModel() {
        return boardModel;
    }

    public void setBoardModel(String boardModel) {
        this.boardModel = boardModel;
    }

    public int getChipVersion() {
        return chipVersion;
    }

    public void setChipVersion(int chipVersion) {
        this.chipVersion = chipVersion;
    }

    @Override
    public String toString() {
        return "ChipInfo{boardModel=" + boardModel + ", chipVersion=" + chipVersion + "}";
    }
}
