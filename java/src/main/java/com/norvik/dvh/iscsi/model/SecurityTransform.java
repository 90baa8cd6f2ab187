package com.norvik.dvh.iscsi.model;

/**
 * One transform of a security policy: the algorithms, lifetimes and parameters offered for a
 * security association. A transform of type {@link #TYPE_IKE} carries IKE parameters ({@link
 * #getGroup()}, {@link #getIKEAuthMethod()}); any other type carries an IPsec mode ({@link
 * #getIPSecMode()}). The codes themselves are the adapter's.
 */
public class SecurityTransform {

    /** Type of a transform that carries IKE parameters. */
    public static final int TYPE_IKE = 1;

    private int type;
    private int encryptAlgo;
    private int ipSecMode;
    private int authAlgo;
    private int kBytesLife;
    private int secondsLife;
    private int group;
    private int ikeAuthMethod;
    private int level;

    public SecurityTransform() {
    }

    public int getType() {
        return type;
    }

    public void setType(int type) {
        this.type = type;
    }

    public int getEncryptAlgo() {
        return encryptAlgo;
    }

    public void setEncryptAlgo(int encryptAlgo) {
        this.encryptAlgo = encryptAlgo;
    }

    public int getIPSecMode() {
        return ipSecMode;
    }

    public void setIPSecMode(int ipSecMode) {
        this.ipSecMode = ipSecMode;
    }

    public int getAuthAlgo() {
        return authAlgo;
    }

    public void setAuthAlgo(int authAlgo) {
        this.authAlgo = authAlgo;
    }

    /** Lifetime in kilobytes (unsigned 32-bit value held in an int). */
    public int getKBytesLife() {
        return kBytesLife;
    }

    public void setKBytesLife(int kBytesLife) {
        this.kBytesLife = kBytesLife;
    }

    /** Lifetime in seconds (unsigned 32-bit value held in an int). */
    public int getSecondsLife() {
        return secondsLife;
    }

    public void setSecondsLife(int secondsLife) {
        this.secondsLife = secondsLife;
    }

    public int getGroup() {
        return group;
    }

    public void setGroup(int group) {
        this.group = group;
    }

    public int getIKEAuthMethod() {
        return ikeAuthMethod;
    }

    public void setIKEAuthMethod(int ikeAuthMethod) {
        this.ikeAuthMethod = ikeAuthMethod;
    }

    public int getLevel() {
        return level;
    }

    public void setLevel(int level) {
        this.level = level;
    }

    @Override
    public String toString() {
        return "SecurityTransform{type=" + type + ", level=" + level + ", encryptAlgo=" + encryptAlgo
                + ", authAlgo=" + authAlgo + ", ipSecMode=" + ipSecMode + ", group=" + group + ", ikeAuthMethod="
                + ikeAuthMethod + ", kBytesLife=" + Integer.toUnsignedString(kBytesLife) + ", secondsLife="
                + Integer.toUnsignedString(secondsLife) + "}";
    }
}
