// Records of the device-management library (libizksdm.so), byte for byte.
//
// Every record is little-endian and packed exactly as the library lays it out.
// The whole header is byte-packed and every gap the library leaves is an explicit
// padding member, so the layout is the same on i386 and x86-64. The static_asserts
// pin each size and offset; a record that does not match the library is a build
// error, not a corrupted adapter.
#ifndef SDM_SDM_RECORDS_H
#define SDM_SDM_RECORDS_H

#include <cstddef>
#include <cstdint>

// Handle of an open adapter, issued by SDOpenDeviceiSCSI; 0 = not open.
typedef uint32_t SDMGT_HANDLE;
// Status returned by every SD function; 0 = success.
typedef uint32_t SD_STATUS;

#define SDM_ASSERT_SIZE(type, size) \
    static_assert(sizeof(type) == (size), "size of " #type)
#define SDM_ASSERT_AT(type, field, offset) \
    static_assert(offsetof(type, field) == (offset), "offset of " #type "." #field)

#pragma pack(push, 1)

// ---------------------------------------------------------------------------
// Addresses
// ---------------------------------------------------------------------------

// An IPv4 or IPv6 address; IPv4 uses bytes 0..3 of IPAddress (network order).
struct ISCSIIPADDR {
    uint8_t  IPAddress[16];
    uint16_t Type;
    uint16_t Reserved;
};
typedef ISCSIIPADDR EXT_ISCSI_IP_ADDR;
SDM_ASSERT_SIZE(ISCSIIPADDR, 20);
SDM_ASSERT_AT(ISCSIIPADDR, IPAddress, 0);
SDM_ASSERT_AT(ISCSIIPADDR, Type, 16);
SDM_ASSERT_AT(ISCSIIPADDR, Reserved, 18);

// ---------------------------------------------------------------------------
// Asynchronous events
// ---------------------------------------------------------------------------

// The library's time stamp: a timeb with 32-bit seconds.
struct SDM_TIMEB {
    int32_t  time;
    uint16_t millitm;
    int16_t  timezone;
    int16_t  dstflag;
    uint8_t  Pad0[2];
};
SDM_ASSERT_SIZE(SDM_TIMEB, 12);
SDM_ASSERT_AT(SDM_TIMEB, time, 0);
SDM_ASSERT_AT(SDM_TIMEB, millitm, 4);
SDM_ASSERT_AT(SDM_TIMEB, timezone, 6);
SDM_ASSERT_AT(SDM_TIMEB, dstflag, 8);

struct EXT_ASYNC_EVENT {
    uint32_t AsyncEventCode;
    uint32_t Payload[7];
};
SDM_ASSERT_SIZE(EXT_ASYNC_EVENT, 32);
SDM_ASSERT_AT(EXT_ASYNC_EVENT, AsyncEventCode, 0);
SDM_ASSERT_AT(EXT_ASYNC_EVENT, Payload, 4);

// One queued adapter event.
struct ASYNC_EVENT {
    EXT_ASYNC_EVENT Event;
    SDM_TIMEB       TimeStamp;
    uint8_t         Reserved[4];
};
SDM_ASSERT_SIZE(ASYNC_EVENT, 48);
SDM_ASSERT_AT(ASYNC_EVENT, Event.AsyncEventCode, 0);
SDM_ASSERT_AT(ASYNC_EVENT, Event.Payload, 4);
SDM_ASSERT_AT(ASYNC_EVENT, TimeStamp, 32);
SDM_ASSERT_AT(ASYNC_EVENT, Reserved, 44);

// ---------------------------------------------------------------------------
// Adapter properties
// ---------------------------------------------------------------------------

// The adapter's network portal. flowControlDuplexLinkSpeed: bit 14 flow control,
// bits 12-13 duplex code, bits 8-11 link speed code.
struct HBAISCSIPORTAL {
    ISCSIIPADDR IPAddr;
    uint8_t     SerialNum[16];
    uint8_t     MacAddr[6];
    uint8_t     Manufacturer[128];
    uint8_t     Model[128];
    uint8_t     DriverVersion[128];
    uint8_t     FWVersion[128];
    uint8_t     OptRomVersion[128];
    uint16_t    State;
    uint16_t    Type;
    uint16_t    DiscTargetCount;
    uint32_t    DriverAttr;
    uint32_t    FWAttr;
    uint8_t     iscsiVersion[4];
    uint16_t    dhcpState;
    uint16_t    linkStatus;
    uint16_t    flowControlDuplexLinkSpeed;
    uint8_t     Reserved[12];
    uint8_t     Pad0[2];
};
SDM_ASSERT_SIZE(HBAISCSIPORTAL, 720);
SDM_ASSERT_AT(HBAISCSIPORTAL, IPAddr, 0);
SDM_ASSERT_AT(HBAISCSIPORTAL, SerialNum, 20);
SDM_ASSERT_AT(HBAISCSIPORTAL, MacAddr, 36);
SDM_ASSERT_AT(HBAISCSIPORTAL, Manufacturer, 42);
SDM_ASSERT_AT(HBAISCSIPORTAL, Model, 170);
SDM_ASSERT_AT(HBAISCSIPORTAL, DriverVersion, 298);
SDM_ASSERT_AT(HBAISCSIPORTAL, FWVersion, 426);
SDM_ASSERT_AT(HBAISCSIPORTAL, OptRomVersion, 554);
SDM_ASSERT_AT(HBAISCSIPORTAL, State, 682);
SDM_ASSERT_AT(HBAISCSIPORTAL, Type, 684);
SDM_ASSERT_AT(HBAISCSIPORTAL, DiscTargetCount, 686);
SDM_ASSERT_AT(HBAISCSIPORTAL, DriverAttr, 688);
SDM_ASSERT_AT(HBAISCSIPORTAL, FWAttr, 692);
SDM_ASSERT_AT(HBAISCSIPORTAL, iscsiVersion, 696);
SDM_ASSERT_AT(HBAISCSIPORTAL, dhcpState, 700);
SDM_ASSERT_AT(HBAISCSIPORTAL, linkStatus, 702);
SDM_ASSERT_AT(HBAISCSIPORTAL, flowControlDuplexLinkSpeed, 704);
SDM_ASSERT_AT(HBAISCSIPORTAL, Reserved, 706);

// An iSCSI node: address, name, alias, portal count.
struct NODEINFOISCSI {
    ISCSIIPADDR IPAddr;
    uint8_t     iSCSIName[256];
    uint8_t     Alias[32];
    uint16_t    PortalCount;
    uint8_t     Reserved[10];
};
SDM_ASSERT_SIZE(NODEINFOISCSI, 320);
SDM_ASSERT_AT(NODEINFOISCSI, IPAddr, 0);
SDM_ASSERT_AT(NODEINFOISCSI, iSCSIName, 20);
SDM_ASSERT_AT(NODEINFOISCSI, Alias, 276);
SDM_ASSERT_AT(NODEINFOISCSI, PortalCount, 308);
SDM_ASSERT_AT(NODEINFOISCSI, Reserved, 310);

// The adapter's own iSCSI node.
struct HBAISCSINODE {
    uint8_t       DeviceName[128];
    uint16_t      PortNumber;
    NODEINFOISCSI NodeInfoISCSI;
    uint16_t      Reserved;
};
SDM_ASSERT_SIZE(HBAISCSINODE, 452);
SDM_ASSERT_AT(HBAISCSINODE, DeviceName, 0);
SDM_ASSERT_AT(HBAISCSINODE, PortNumber, 128);
SDM_ASSERT_AT(HBAISCSINODE, NodeInfoISCSI, 130);
SDM_ASSERT_AT(HBAISCSINODE, Reserved, 450);

// Properties of the adapter's driver.
struct DRIVERINFO {
    uint8_t  Version[128];
    uint16_t NumberOfBus;
    uint16_t TargetsPerBus;
    uint16_t LunsPerTarget;
    uint16_t LunsPerTargetOS;
    uint32_t MaximumTransferLen;
    uint32_t MaximumDataSegments;
    uint16_t DmaBitAddresses;
    uint16_t IoMapType;
    uint32_t Attributes;
    uint32_t InternalFlags[4];
    uint32_t Reserved[8];
};
SDM_ASSERT_SIZE(DRIVERINFO, 200);
SDM_ASSERT_AT(DRIVERINFO, Version, 0);
SDM_ASSERT_AT(DRIVERINFO, NumberOfBus, 128);
SDM_ASSERT_AT(DRIVERINFO, TargetsPerBus, 130);
SDM_ASSERT_AT(DRIVERINFO, LunsPerTarget, 132);
SDM_ASSERT_AT(DRIVERINFO, LunsPerTargetOS, 134);
SDM_ASSERT_AT(DRIVERINFO, MaximumTransferLen, 136);
SDM_ASSERT_AT(DRIVERINFO, MaximumDataSegments, 140);
SDM_ASSERT_AT(DRIVERINFO, DmaBitAddresses, 144);
SDM_ASSERT_AT(DRIVERINFO, IoMapType, 146);
SDM_ASSERT_AT(DRIVERINFO, Attributes, 148);
SDM_ASSERT_AT(DRIVERINFO, InternalFlags, 152);
SDM_ASSERT_AT(DRIVERINFO, Reserved, 168);

// Firmware properties. No call of this library fills it; the layout is this
// library's own working declaration (version texts and attribute bits, as the
// portal record reports them) and is not pinned.
struct FWINFO {
    uint8_t  FWVersion[128];
    uint8_t  OptRomVersion[128];
    uint8_t  iscsiVersion[4];
    uint16_t FWMajorVersion;
    uint16_t FWMinorVersion;
    uint16_t FWPatchVersion;
    uint16_t FWBuildVersion;
    uint32_t FWAttr;
    uint32_t Reserved[8];
};

// Properties of the adapter chip.
struct CHIPINFO {
    uint16_t VendorID;
    uint16_t DeviceID;
    uint16_t SubVendorID;
    uint16_t SubSystemID;
    uint8_t  BoardType[64];
    uint16_t ChipVersion;
    uint16_t boardId;
    uint8_t  ChipModel[6];
    uint8_t  ipSecConfig[2];
    uint16_t Reserved[19];
};
SDM_ASSERT_SIZE(CHIPINFO, 122);
SDM_ASSERT_AT(CHIPINFO, VendorID, 0);
SDM_ASSERT_AT(CHIPINFO, DeviceID, 2);
SDM_ASSERT_AT(CHIPINFO, SubVendorID, 4);
SDM_ASSERT_AT(CHIPINFO, SubSystemID, 6);
SDM_ASSERT_AT(CHIPINFO, BoardType, 8);
SDM_ASSERT_AT(CHIPINFO, ChipVersion, 72);
SDM_ASSERT_AT(CHIPINFO, boardId, 74);
SDM_ASSERT_AT(CHIPINFO, ChipModel, 76);
SDM_ASSERT_AT(CHIPINFO, ipSecConfig, 82);
SDM_ASSERT_AT(CHIPINFO, Reserved, 84);

// ---------------------------------------------------------------------------
// Device database and the firmware initialization block
// ---------------------------------------------------------------------------

// Session and TCP parameters of a target (also the adapter's session defaults).
struct ISCSIDEVICE {
    uint16_t deviceType;
    uint16_t exeThrottle;
    uint8_t  TCPTxWindowScaleFactor;
    uint8_t  TCPRxWindowScaleFactor;
    uint8_t  retryCount;
    uint8_t  retryDelay;
    uint16_t iSCSIOptions;
    uint16_t TCPOptions;
    uint16_t IPOptions;
    uint16_t MaxRxDataSegmentLen;
    uint16_t firstBurstSize;
    uint16_t DefaultTime2Wait;
    uint16_t DefaultTime2Retain;
    uint16_t maxOutstandingR2T;
    uint16_t keepAliveTimeout;
    uint16_t portNumber;
    uint16_t maxBurstSize;
    uint16_t taskMngmntTimeout;
    uint8_t  targetAddr[32];
};
SDM_ASSERT_SIZE(ISCSIDEVICE, 64);
SDM_ASSERT_AT(ISCSIDEVICE, deviceType, 0);
SDM_ASSERT_AT(ISCSIDEVICE, exeThrottle, 2);
SDM_ASSERT_AT(ISCSIDEVICE, TCPTxWindowScaleFactor, 4);
SDM_ASSERT_AT(ISCSIDEVICE, TCPRxWindowScaleFactor, 5);
SDM_ASSERT_AT(ISCSIDEVICE, retryCount, 6);
SDM_ASSERT_AT(ISCSIDEVICE, retryDelay, 7);
SDM_ASSERT_AT(ISCSIDEVICE, iSCSIOptions, 8);
SDM_ASSERT_AT(ISCSIDEVICE, TCPOptions, 10);
SDM_ASSERT_AT(ISCSIDEVICE, IPOptions, 12);
SDM_ASSERT_AT(ISCSIDEVICE, MaxRxDataSegmentLen, 14);
SDM_ASSERT_AT(ISCSIDEVICE, firstBurstSize, 16);
SDM_ASSERT_AT(ISCSIDEVICE, DefaultTime2Wait, 18);
SDM_ASSERT_AT(ISCSIDEVICE, DefaultTime2Retain, 20);
SDM_ASSERT_AT(ISCSIDEVICE, maxOutstandingR2T, 22);
SDM_ASSERT_AT(ISCSIDEVICE, keepAliveTimeout, 24);
SDM_ASSERT_AT(ISCSIDEVICE, portNumber, 26);
SDM_ASSERT_AT(ISCSIDEVICE, maxBurstSize, 28);
SDM_ASSERT_AT(ISCSIDEVICE, taskMngmntTimeout, 30);
SDM_ASSERT_AT(ISCSIDEVICE, targetAddr, 32);

// One device database entry (a target session the adapter is to open).
struct DEVICEENTRYISCSI {
    uint8_t       Options;
    uint8_t       Control;
    uint16_t      exeCount;
    uint16_t      TargetSessID;
    uint8_t       InitiatorSessID[6];
    uint8_t       Reserved0[63];
    uint8_t       SetDDBRAMOnlyFlag;
    ISCSIDEVICE   DeviceInfo;
    NODEINFOISCSI EntryInfo;
    uint32_t      TargetID;
    uint32_t      DeviceState;
    uint32_t      ReservedFlags;
    uint32_t      NextValid;
    uint16_t      DDBLink;
    uint16_t      CHAPTableIndex;
    uint16_t      MaxTxDataSegmentLen;
    uint16_t      TargetPortalGroupID;
};
SDM_ASSERT_SIZE(DEVICEENTRYISCSI, 484);
SDM_ASSERT_AT(DEVICEENTRYISCSI, Options, 0);
SDM_ASSERT_AT(DEVICEENTRYISCSI, Control, 1);
SDM_ASSERT_AT(DEVICEENTRYISCSI, exeCount, 2);
SDM_ASSERT_AT(DEVICEENTRYISCSI, TargetSessID, 4);
SDM_ASSERT_AT(DEVICEENTRYISCSI, InitiatorSessID, 6);
SDM_ASSERT_AT(DEVICEENTRYISCSI, Reserved0, 12);
SDM_ASSERT_AT(DEVICEENTRYISCSI, SetDDBRAMOnlyFlag, 75);
SDM_ASSERT_AT(DEVICEENTRYISCSI, DeviceInfo, 76);
SDM_ASSERT_AT(DEVICEENTRYISCSI, EntryInfo, 140);
SDM_ASSERT_AT(DEVICEENTRYISCSI, TargetID, 460);
SDM_ASSERT_AT(DEVICEENTRYISCSI, DeviceState, 464);
SDM_ASSERT_AT(DEVICEENTRYISCSI, ReservedFlags, 468);
SDM_ASSERT_AT(DEVICEENTRYISCSI, NextValid, 472);
SDM_ASSERT_AT(DEVICEENTRYISCSI, DDBLink, 476);
SDM_ASSERT_AT(DEVICEENTRYISCSI, CHAPTableIndex, 478);
SDM_ASSERT_AT(DEVICEENTRYISCSI, MaxTxDataSegmentLen, 480);
SDM_ASSERT_AT(DEVICEENTRYISCSI, TargetPortalGroupID, 482);

// Request to log a session out (and optionally move it to NewTargetID).
struct LOGOUTISCSI {
    uint16_t TargetID;
    uint16_t ConnectionID;
    uint16_t Options;
    uint16_t NewTargetID;
    uint16_t Reserved;
};
SDM_ASSERT_SIZE(LOGOUTISCSI, 10);
SDM_ASSERT_AT(LOGOUTISCSI, TargetID, 0);
SDM_ASSERT_AT(LOGOUTISCSI, ConnectionID, 2);
SDM_ASSERT_AT(LOGOUTISCSI, Options, 4);
SDM_ASSERT_AT(LOGOUTISCSI, NewTargetID, 6);
SDM_ASSERT_AT(LOGOUTISCSI, Reserved, 8);

// A DNS server of the initialization block.
struct DNS {
    ISCSIIPADDR IPAddr;
    uint8_t     Reserved[132];
};
SDM_ASSERT_SIZE(DNS, 152);
SDM_ASSERT_AT(DNS, IPAddr, 0);
SDM_ASSERT_AT(DNS, Reserved, 20);

// The adapter's firmware initialization block.
struct INITFWISCSI {
    uint8_t     Reserved1;
    uint8_t     Version;
    uint16_t    FWOptions;
    uint16_t    addFWOptions;
    uint16_t    wakeupThreshold;
    ISCSIIPADDR IPAddr;
    ISCSIIPADDR SecondaryIPAddr;
    ISCSIIPADDR SubnetMask;
    ISCSIIPADDR Gateway;
    DNS         PrimaryDNS;
    DNS         SecondaryDNS;
    ISCSIIPADDR SLPDAAddr;
    uint8_t     Alias[32];
    uint8_t     iSCSIName[256];
    ISCSIDEVICE DeviceInfo;
    uint16_t    EthernetMTU;
    uint16_t    TCI;
    uint8_t     ZIO;
    uint8_t     TCPWindowScaleFactor;
    uint16_t    taskMngmntTimeout;
    uint8_t     Reserved[10];
};
SDM_ASSERT_SIZE(INITFWISCSI, 782);
SDM_ASSERT_AT(INITFWISCSI, Reserved1, 0);
SDM_ASSERT_AT(INITFWISCSI, Version, 1);
SDM_ASSERT_AT(INITFWISCSI, FWOptions, 2);
SDM_ASSERT_AT(INITFWISCSI, addFWOptions, 4);
SDM_ASSERT_AT(INITFWISCSI, wakeupThreshold, 6);
SDM_ASSERT_AT(INITFWISCSI, IPAddr, 8);
SDM_ASSERT_AT(INITFWISCSI, SecondaryIPAddr, 28);
SDM_ASSERT_AT(INITFWISCSI, SubnetMask, 48);
SDM_ASSERT_AT(INITFWISCSI, Gateway, 68);
SDM_ASSERT_AT(INITFWISCSI, PrimaryDNS, 88);
SDM_ASSERT_AT(INITFWISCSI, SecondaryDNS, 240);
SDM_ASSERT_AT(INITFWISCSI, SLPDAAddr, 392);
SDM_ASSERT_AT(INITFWISCSI, Alias, 412);
SDM_ASSERT_AT(INITFWISCSI, iSCSIName, 444);
SDM_ASSERT_AT(INITFWISCSI, DeviceInfo, 700);
SDM_ASSERT_AT(INITFWISCSI, EthernetMTU, 764);
SDM_ASSERT_AT(INITFWISCSI, TCI, 766);
SDM_ASSERT_AT(INITFWISCSI, ZIO, 768);
SDM_ASSERT_AT(INITFWISCSI, TCPWindowScaleFactor, 769);
SDM_ASSERT_AT(INITFWISCSI, taskMngmntTimeout, 770);
SDM_ASSERT_AT(INITFWISCSI, Reserved, 772);

// Adapter reset request (passed all zero).
struct HBARESET {
    uint32_t ResetOptions;
    uint32_t Reserved;
};
SDM_ASSERT_SIZE(HBARESET, 8);
SDM_ASSERT_AT(HBARESET, ResetOptions, 0);
SDM_ASSERT_AT(HBARESET, Reserved, 4);

// ---------------------------------------------------------------------------
// CHAP secret table
// ---------------------------------------------------------------------------

// One CHAP credential; an empty name and secret marks a free slot.
struct CHAPTABLE {
    uint16_t Link;
    uint8_t  Flags;
    uint8_t  ChapSecretLength;
    uint8_t  ChapSecret[100];
    uint8_t  ChapName[256];
};
SDM_ASSERT_SIZE(CHAPTABLE, 360);
SDM_ASSERT_AT(CHAPTABLE, Link, 0);
SDM_ASSERT_AT(CHAPTABLE, Flags, 2);
SDM_ASSERT_AT(CHAPTABLE, ChapSecretLength, 3);
SDM_ASSERT_AT(CHAPTABLE, ChapSecret, 4);
SDM_ASSERT_AT(CHAPTABLE, ChapName, 104);

// ---------------------------------------------------------------------------
// Targets, LUNs and SCSI commands
// ---------------------------------------------------------------------------

// SCSI address of a target and LUN, with its buffer-test capabilities.
// Reserved1 carries the request to run the buffer test.
struct TARGETINFORMATION {
    uint16_t BusNumber;
    uint16_t TargetID;
    uint16_t LUN;
    uint16_t TargetState;
    uint8_t  SupportsTest;
    uint8_t  Reserved1;
    uint8_t  Pad0[2];
    uint32_t Reserved2[31];
};
SDM_ASSERT_SIZE(TARGETINFORMATION, 136);
SDM_ASSERT_AT(TARGETINFORMATION, BusNumber, 0);
SDM_ASSERT_AT(TARGETINFORMATION, TargetID, 2);
SDM_ASSERT_AT(TARGETINFORMATION, LUN, 4);
SDM_ASSERT_AT(TARGETINFORMATION, TargetState, 6);
SDM_ASSERT_AT(TARGETINFORMATION, SupportsTest, 8);
SDM_ASSERT_AT(TARGETINFORMATION, Reserved1, 9);
SDM_ASSERT_AT(TARGETINFORMATION, Reserved2, 12);

// A discovered portal through which a target was reached.
struct DISCISCSIPORTAL {
    ISCSIIPADDR       IPAddr;
    uint16_t          NodeCount;
    uint8_t           hostName[128];
    uint16_t          portNumber;
    TARGETINFORMATION TargetInfo;
    uint16_t          Reserved;
    uint8_t           Pad0[2];
};
SDM_ASSERT_SIZE(DISCISCSIPORTAL, 292);
SDM_ASSERT_AT(DISCISCSIPORTAL, IPAddr, 0);
SDM_ASSERT_AT(DISCISCSIPORTAL, NodeCount, 20);
SDM_ASSERT_AT(DISCISCSIPORTAL, hostName, 22);
SDM_ASSERT_AT(DISCISCSIPORTAL, portNumber, 150);
SDM_ASSERT_AT(DISCISCSIPORTAL, TargetInfo, 152);
SDM_ASSERT_AT(DISCISCSIPORTAL, Reserved, 288);

// A discovered node (target): session, connection, node information, SCSI address.
struct DISCISCSINODE {
    uint16_t          SessionID;
    uint16_t          ConnectionID;
    uint16_t          PortalGroupID;
    NODEINFOISCSI     NodeInfo;
    uint8_t           Pad0[2];   // NodeInfo ends at 326; TargetInfo starts at 328
    TARGETINFORMATION TargetInfo;
    uint16_t          Reserved;
    uint8_t           Pad1[2];
};
SDM_ASSERT_SIZE(DISCISCSINODE, 468);
SDM_ASSERT_AT(DISCISCSINODE, SessionID, 0);
SDM_ASSERT_AT(DISCISCSINODE, ConnectionID, 2);
SDM_ASSERT_AT(DISCISCSINODE, PortalGroupID, 4);
SDM_ASSERT_AT(DISCISCSINODE, NodeInfo, 6);
SDM_ASSERT_AT(DISCISCSINODE, TargetInfo, 328);
SDM_ASSERT_AT(DISCISCSINODE, TargetInfo.BusNumber, 328);
SDM_ASSERT_AT(DISCISCSINODE, TargetInfo.TargetID, 330);
SDM_ASSERT_AT(DISCISCSINODE, TargetInfo.LUN, 332);
SDM_ASSERT_AT(DISCISCSINODE, TargetInfo.TargetState, 334);
SDM_ASSERT_AT(DISCISCSINODE, Reserved, 464);

// Standard INQUIRY data of a LUN, as this library keeps it.
struct SCSI_INQUIRY_DATA_INFO {
    uint8_t cInquiryHeader[8];
    uint8_t cVendorID[8];
    uint8_t cProductID[16];
    uint8_t cRevision[4];
    uint8_t cSerialNumber[8];
    uint8_t cExtraData[211];
};
SDM_ASSERT_SIZE(SCSI_INQUIRY_DATA_INFO, 255);
SDM_ASSERT_AT(SCSI_INQUIRY_DATA_INFO, cInquiryHeader, 0);
SDM_ASSERT_AT(SCSI_INQUIRY_DATA_INFO, cVendorID, 8);
SDM_ASSERT_AT(SCSI_INQUIRY_DATA_INFO, cProductID, 16);
SDM_ASSERT_AT(SCSI_INQUIRY_DATA_INFO, cRevision, 32);
SDM_ASSERT_AT(SCSI_INQUIRY_DATA_INFO, cSerialNumber, 36);
SDM_ASSERT_AT(SCSI_INQUIRY_DATA_INFO, cExtraData, 44);

// Result of the capacity query. 0xfefefefe in the low 32 bits of Lba or
// BlockLen means "not measured".
struct SD_CAPACITY_INFO_STRUC {
    uint64_t Lba;
    uint64_t BlockLen;
    uint32_t Mbytes;
};
SDM_ASSERT_SIZE(SD_CAPACITY_INFO_STRUC, 20);
SDM_ASSERT_AT(SD_CAPACITY_INFO_STRUC, Lba, 0);
SDM_ASSERT_AT(SD_CAPACITY_INFO_STRUC, BlockLen, 8);
SDM_ASSERT_AT(SD_CAPACITY_INFO_STRUC, Mbytes, 16);

// ---------------------------------------------------------------------------
// Statistics
// ---------------------------------------------------------------------------

// Port statistics of the first controller generation.
struct HBAPORTSTATISCSI {
    uint64_t MACTxFramesCount;
    uint64_t MACTxBytesCount;
    uint64_t MACRxFramesCount;
    uint64_t MACRxBytesCount;
    uint64_t MACCRCErrorCount;
    uint64_t MACEncodingErrorCount;
    uint64_t IPTxPacketsCount;
    uint64_t IPTxBytesCount;
    uint64_t IPTxFragmentsCount;
    uint64_t IPRxPacketsCount;
    uint64_t IPRxBytesCount;
    uint64_t IPRxFragmentsCount;
    uint64_t IPDatagramReassemblyCount;
    uint64_t Reserved1;
    uint64_t IPRxPacketErrorCount;
    uint64_t IPReassemblyErrorCount;
    uint64_t TCPTxSegmentsCount;
    uint64_t TCPTxBytesCount;
    uint64_t TCPRxSegmentsCount;
    uint64_t TCPRxBytesCount;
    uint64_t TCPTimerExpiredCount;
    uint64_t TCPRxACKCount;
    uint64_t TCPTxACKCount;
    uint64_t TCPRxErrorSegmentCount;
    uint64_t TCPWindowProbeUpdateCount;
    uint64_t iSCSITxPDUCount;
    uint64_t iSCSITxBytesCount;
    uint64_t iSCSIRxPDUCount;
    uint64_t iSCSIRxBytesCount;
    uint64_t iSCSICompleteIOsCount;
    uint64_t iSCSIUnexpectedIORxCount;
    uint64_t iSCSIFormatErrorCount;
    uint64_t iSCSIHeaderDigestCount;
    uint64_t iSCSIDataDigestErrorCount;
    uint64_t iSCSISeqErrorCount;
    uint32_t Reserved[20];
};
SDM_ASSERT_SIZE(HBAPORTSTATISCSI, 360);
SDM_ASSERT_AT(HBAPORTSTATISCSI, MACTxFramesCount, 0);
SDM_ASSERT_AT(HBAPORTSTATISCSI, MACTxBytesCount, 8);
SDM_ASSERT_AT(HBAPORTSTATISCSI, MACRxFramesCount, 16);
SDM_ASSERT_AT(HBAPORTSTATISCSI, MACRxBytesCount, 24);
SDM_ASSERT_AT(HBAPORTSTATISCSI, MACCRCErrorCount, 32);
SDM_ASSERT_AT(HBAPORTSTATISCSI, MACEncodingErrorCount, 40);
SDM_ASSERT_AT(HBAPORTSTATISCSI, IPTxPacketsCount, 48);
SDM_ASSERT_AT(HBAPORTSTATISCSI, IPTxBytesCount, 56);
SDM_ASSERT_AT(HBAPORTSTATISCSI, IPTxFragmentsCount, 64);
SDM_ASSERT_AT(HBAPORTSTATISCSI, IPRxPacketsCount, 72);
SDM_ASSERT_AT(HBAPORTSTATISCSI, IPRxBytesCount, 80);
SDM_ASSERT_AT(HBAPORTSTATISCSI, IPRxFragmentsCount, 88);
SDM_ASSERT_AT(HBAPORTSTATISCSI, IPDatagramReassemblyCount, 96);
SDM_ASSERT_AT(HBAPORTSTATISCSI, Reserved1, 104);
SDM_ASSERT_AT(HBAPORTSTATISCSI, IPRxPacketErrorCount, 112);
SDM_ASSERT_AT(HBAPORTSTATISCSI, IPReassemblyErrorCount, 120);
SDM_ASSERT_AT(HBAPORTSTATISCSI, TCPTxSegmentsCount, 128);
SDM_ASSERT_AT(HBAPORTSTATISCSI, TCPTxBytesCount, 136);
SDM_ASSERT_AT(HBAPORTSTATISCSI, TCPRxSegmentsCount, 144);
SDM_ASSERT_AT(HBAPORTSTATISCSI, TCPRxBytesCount, 152);
SDM_ASSERT_AT(HBAPORTSTATISCSI, TCPTimerExpiredCount, 160);
SDM_ASSERT_AT(HBAPORTSTATISCSI, TCPRxACKCount, 168);
SDM_ASSERT_AT(HBAPORTSTATISCSI, TCPTxACKCount, 176);
SDM_ASSERT_AT(HBAPORTSTATISCSI, TCPRxErrorSegmentCount, 184);
SDM_ASSERT_AT(HBAPORTSTATISCSI, TCPWindowProbeUpdateCount, 192);
SDM_ASSERT_AT(HBAPORTSTATISCSI, iSCSITxPDUCount, 200);
SDM_ASSERT_AT(HBAPORTSTATISCSI, iSCSITxBytesCount, 208);
SDM_ASSERT_AT(HBAPORTSTATISCSI, iSCSIRxPDUCount, 216);
SDM_ASSERT_AT(HBAPORTSTATISCSI, iSCSIRxBytesCount, 224);
SDM_ASSERT_AT(HBAPORTSTATISCSI, iSCSICompleteIOsCount, 232);
SDM_ASSERT_AT(HBAPORTSTATISCSI, iSCSIUnexpectedIORxCount, 240);
SDM_ASSERT_AT(HBAPORTSTATISCSI, iSCSIFormatErrorCount, 248);
SDM_ASSERT_AT(HBAPORTSTATISCSI, iSCSIHeaderDigestCount, 256);
SDM_ASSERT_AT(HBAPORTSTATISCSI, iSCSIDataDigestErrorCount, 264);
SDM_ASSERT_AT(HBAPORTSTATISCSI, iSCSISeqErrorCount, 272);
SDM_ASSERT_AT(HBAPORTSTATISCSI, Reserved, 280);

// Extended port statistics: 68 counters addressed by index
// (Counters[HBAPORTSTATISCSIEXTEND::TCPTxBytesCount]); the index is also the
// index handed to the Java side with each counter.
struct HBAPORTSTATISCSIEXTEND {
    enum Index : uint32_t {
        MACTxFramesCount = 0,
        MACTxBytesCount = 1,
        MACTxMulticast = 2,
        MACTxBroadcast = 3,
        MACTxPauseFrames = 4,
        MACTxControlFrames = 5,
        MACTxDeferrals = 6,
        MACTxExcessDeferrals = 7,
        MACTxLateCollisions = 8,
        MACTxAborts = 9,
        MACTxSingleCollisions = 10,
        MACTxMultipleCollisions = 11,
        MACTxCollisions = 12,
        MACTxFramesDropped = 13,
        MACTxJumboFrames = 14,
        MACRxFramesCount = 15,
        MACRxBytesCount = 16,
        MACRxUnknownControlFrames = 17,
        MACRxPauseFrames = 18,
        MACRxControlFrames = 19,
        MACRxDribble = 20,
        MACRxFrameLengthError = 21,
        MACRxJabber = 22,
        MACRxCarrierSenseError = 23,
        MACRxFramesDropped = 24,
        MACCRCErrorCount = 25,
        MACEncodingErrorCount = 26,
        MACRxLengthErrorCountLarge = 27,
        MACRxLengthErrorCountSmall = 28,
        MACRxMulticast = 29,
        MACRxBroadcast = 30,
        IPTxPacketsCount = 31,
        IPTxBytesCount = 32,
        IPTxFragmentsCount = 33,
        IPRxPacketsCount = 34,
        IPRxBytesCount = 35,
        IPRxFragmentsCount = 36,
        IPDatagramReassemblyCount = 37,
        IPv6RxPacketsCount = 38,
        IPRxPacketErrorCount = 39,
        IPRxFragmentOverlapCount = 40,
        IPRxFragmentOutOfOrderCount = 41,
        IPFragmentReassemblyTimeout = 42,
        TCPTxSegmentsCount = 43,
        TCPTxBytesCount = 44,
        TCPRxSegmentsCount = 45,
        TCPRxBytesCount = 46,
        TCPPersistTimerExpiredCount = 47,
        TCPRetransTimerExpiredCount = 48,
        TCPRxDuplicateACKCount = 49,
        TCPRxPureACKCount = 50,
        TCPTxDelayedACKCount = 51,
        TCPTxPureACKCount = 52,
        TCPRxSegmentErrorCount = 53,
        TCPRxSegmentOutOfOrderCount = 54,
        TCPRxWindowProbeCount = 55,
        TCPRxWindowUpdateCount = 56,
        ECCErrorCorrectionCount = 57,
        iSCSITxPDUCount = 58,
        iSCSITxBytesCount = 59,
        iSCSIRxPDUCount = 60,
        iSCSIRxBytesCount = 61,
        iSCSICompleteIOsCount = 62,
        iSCSIUnexpectedIORxCount = 63,
        iSCSIFormatErrorCount = 64,
        iSCSIHeaderDigestCount = 65,
        iSCSIDataDigestErrorCount = 66,
        iSCSISeqErrorCount = 67,
        CounterCount = 68
    };
    uint64_t Counters[CounterCount];
    uint32_t Reserved[20];
};
SDM_ASSERT_SIZE(HBAPORTSTATISCSIEXTEND, 624);
SDM_ASSERT_AT(HBAPORTSTATISCSIEXTEND, Counters, 0);
SDM_ASSERT_AT(HBAPORTSTATISCSIEXTEND, Counters[HBAPORTSTATISCSIEXTEND::iSCSISeqErrorCount], 536);
SDM_ASSERT_AT(HBAPORTSTATISCSIEXTEND, Reserved, 544);

// Generic adapter statistics. The buffer test reads only the first seven
// counters, in this order; the rest of the record is reserved here.
struct HBAPORTSTATGEN {
    uint64_t HBAPortErrorCount;
    uint64_t DevicePortErrorCount;
    uint64_t IoCount;
    uint64_t MBytesCount;
    uint64_t InterruptCount;
    uint64_t LinkFailureCount;
    uint64_t InvalidCrcCount;
    uint64_t Reserved[9];
};
SDM_ASSERT_AT(HBAPORTSTATGEN, HBAPortErrorCount, 0);
SDM_ASSERT_AT(HBAPORTSTATGEN, InvalidCrcCount, 48);

// ---------------------------------------------------------------------------
// Event logs
// ---------------------------------------------------------------------------

struct TIMESTRUCT {
    uint32_t seconds;
    uint32_t milliseconds;
};
SDM_ASSERT_SIZE(TIMESTRUCT, 8);
SDM_ASSERT_AT(TIMESTRUCT, seconds, 0);
SDM_ASSERT_AT(TIMESTRUCT, milliseconds, 4);

// One entry of the connection error log.
struct CONNERRTABLE {
    TIMESTRUCT timeStamp;
    uint16_t   deviceIndex;
    uint16_t   connState;
    uint8_t    entryType;
    uint8_t    errorType;
    uint16_t   errorDetail;
    uint8_t    dupErrorCnt;
    uint8_t    reserved[3];
};
SDM_ASSERT_SIZE(CONNERRTABLE, 20);
SDM_ASSERT_AT(CONNERRTABLE, timeStamp, 0);
SDM_ASSERT_AT(CONNERRTABLE, deviceIndex, 8);
SDM_ASSERT_AT(CONNERRTABLE, connState, 10);
SDM_ASSERT_AT(CONNERRTABLE, entryType, 12);
SDM_ASSERT_AT(CONNERRTABLE, errorType, 13);
SDM_ASSERT_AT(CONNERRTABLE, errorDetail, 14);
SDM_ASSERT_AT(CONNERRTABLE, dupErrorCnt, 16);
SDM_ASSERT_AT(CONNERRTABLE, reserved, 17);

// One entry of the ARP table.
struct ARPTABLE {
    ISCSIIPADDR ipAddr;
    uint8_t     macAddr[6];
    uint8_t     valid;
    uint8_t     time_in;
};
SDM_ASSERT_SIZE(ARPTABLE, 28);
SDM_ASSERT_AT(ARPTABLE, ipAddr, 0);
SDM_ASSERT_AT(ARPTABLE, ipAddr.IPAddress, 0);
SDM_ASSERT_AT(ARPTABLE, ipAddr.Type, 16);
SDM_ASSERT_AT(ARPTABLE, ipAddr.Reserved, 18);
SDM_ASSERT_AT(ARPTABLE, macAddr, 20);
SDM_ASSERT_AT(ARPTABLE, valid, 26);
SDM_ASSERT_AT(ARPTABLE, time_in, 27);

// ---------------------------------------------------------------------------
// iSNS discovery
// ---------------------------------------------------------------------------

struct SDM_ISNS_CONFIG {
    uint8_t     performiSNSDiscovery;
    uint8_t     AutomaticiSNSDiscovery;
    uint8_t     Reserved1[2];
    uint8_t     initiatorName[256];
    ISCSIIPADDR ipAddr;
    uint8_t     Reserved2[4];
};
SDM_ASSERT_SIZE(SDM_ISNS_CONFIG, 284);
SDM_ASSERT_AT(SDM_ISNS_CONFIG, performiSNSDiscovery, 0);
SDM_ASSERT_AT(SDM_ISNS_CONFIG, AutomaticiSNSDiscovery, 1);
SDM_ASSERT_AT(SDM_ISNS_CONFIG, Reserved1, 2);
SDM_ASSERT_AT(SDM_ISNS_CONFIG, initiatorName, 4);
SDM_ASSERT_AT(SDM_ISNS_CONFIG, ipAddr, 260);
SDM_ASSERT_AT(SDM_ISNS_CONFIG, ipAddr.IPAddress, 260);
SDM_ASSERT_AT(SDM_ISNS_CONFIG, ipAddr.Type, 276);
SDM_ASSERT_AT(SDM_ISNS_CONFIG, ipAddr.Reserved, 278);
SDM_ASSERT_AT(SDM_ISNS_CONFIG, Reserved2, 280);

struct SDM_DISCOVERED_TARGET_PORTAL {
    ISCSIIPADDR ipAddr;
    uint16_t    port;
    uint16_t    reserved;
};
SDM_ASSERT_SIZE(SDM_DISCOVERED_TARGET_PORTAL, 24);
SDM_ASSERT_AT(SDM_DISCOVERED_TARGET_PORTAL, ipAddr, 0);
SDM_ASSERT_AT(SDM_DISCOVERED_TARGET_PORTAL, port, 20);
SDM_ASSERT_AT(SDM_DISCOVERED_TARGET_PORTAL, reserved, 22);

// One target reported by the iSNS server.
struct SDM_ISNS_DISCOVERED_TARGET {
    uint32_t                     numPortals;
    SDM_DISCOVERED_TARGET_PORTAL targetPortal[4];
    uint32_t                     DDID;
    uint8_t                      targetName[256];
    uint8_t                      targetAlias[32];
};
SDM_ASSERT_SIZE(SDM_ISNS_DISCOVERED_TARGET, 392);
SDM_ASSERT_AT(SDM_ISNS_DISCOVERED_TARGET, numPortals, 0);
SDM_ASSERT_AT(SDM_ISNS_DISCOVERED_TARGET, targetPortal, 4);
SDM_ASSERT_AT(SDM_ISNS_DISCOVERED_TARGET, DDID, 100);
SDM_ASSERT_AT(SDM_ISNS_DISCOVERED_TARGET, targetName, 104);
SDM_ASSERT_AT(SDM_ISNS_DISCOVERED_TARGET, targetAlias, 360);

// ---------------------------------------------------------------------------
// IPsec security
// ---------------------------------------------------------------------------

// One transform of a policy. Type 1 carries IKE parameters (Group,
// IKEAuthMethod); any other type carries IPSecMode.
struct SECTRANSFORM {
    uint16_t Type;
    uint16_t EncryptAlgo;
    uint16_t IPSecMode;
    uint16_t AuthAlgo;
    uint32_t KBytesLife;
    uint32_t SecondsLife;
    uint16_t Group;
    uint16_t IKEAuthMethod;
    uint16_t Level;
    uint8_t  Pad0[2];
};
SDM_ASSERT_SIZE(SECTRANSFORM, 24);
SDM_ASSERT_AT(SECTRANSFORM, Type, 0);
SDM_ASSERT_AT(SECTRANSFORM, EncryptAlgo, 2);
SDM_ASSERT_AT(SECTRANSFORM, IPSecMode, 4);
SDM_ASSERT_AT(SECTRANSFORM, AuthAlgo, 6);
SDM_ASSERT_AT(SECTRANSFORM, KBytesLife, 8);
SDM_ASSERT_AT(SECTRANSFORM, SecondsLife, 12);
SDM_ASSERT_AT(SECTRANSFORM, Group, 16);
SDM_ASSERT_AT(SECTRANSFORM, IKEAuthMethod, 18);
SDM_ASSERT_AT(SECTRANSFORM, Level, 20);

// One slot of the security policy table; PolicyKind 0 marks an unused slot.
struct SECURITYPOLICY {
    uint32_t     PolicyKind;
    uint32_t     Priority;
    ISCSIIPADDR  SourceAddr;
    ISCSIIPADDR  DestStartAddr;
    ISCSIIPADDR  DestEndAddr;
    uint32_t     Action;
    uint32_t     Protocol;
    uint32_t     DestPort;
    uint32_t     DestType;
    uint8_t      PolicyName[128];
    uint32_t     EnabledTarget;
    SECTRANSFORM Transforms[16];
    uint32_t     NumberOfTransforms;
    uint32_t     IKEMode;
    uint8_t      IKEPFS;
    uint8_t      IKEDirection;
    uint8_t      Pad0[2];
    uint32_t     PreSharedKeyLen;
    uint8_t      PreSharedKey[32];
    uint8_t      AutoIPSec;
    uint8_t      Pad1[3];
    uint32_t     SourcePort;
    uint32_t     EncryptKeyLen;
    uint8_t      EncryptKey[32];
    uint32_t     EncryptIVLen;
    uint8_t      EncryptIV[32];
    uint32_t     AuthKeyLen;
    uint8_t      AuthKey[32];
    uint32_t     SPI;
    uint32_t     AssociatedIKEPolicy;
    uint32_t     SAControl;
    uint32_t     ChangeBitMap;
    ISCSIIPADDR  TunnelIPAddr;
};
SDM_ASSERT_SIZE(SECURITYPOLICY, 800);
SDM_ASSERT_AT(SECURITYPOLICY, PolicyKind, 0);
SDM_ASSERT_AT(SECURITYPOLICY, Priority, 4);
SDM_ASSERT_AT(SECURITYPOLICY, SourceAddr, 8);
SDM_ASSERT_AT(SECURITYPOLICY, DestStartAddr, 28);
SDM_ASSERT_AT(SECURITYPOLICY, DestEndAddr, 48);
SDM_ASSERT_AT(SECURITYPOLICY, Action, 68);
SDM_ASSERT_AT(SECURITYPOLICY, Protocol, 72);
SDM_ASSERT_AT(SECURITYPOLICY, DestPort, 76);
SDM_ASSERT_AT(SECURITYPOLICY, DestType, 80);
SDM_ASSERT_AT(SECURITYPOLICY, PolicyName, 84);
SDM_ASSERT_AT(SECURITYPOLICY, EnabledTarget, 212);
SDM_ASSERT_AT(SECURITYPOLICY, Transforms, 216);
SDM_ASSERT_AT(SECURITYPOLICY, NumberOfTransforms, 600);
SDM_ASSERT_AT(SECURITYPOLICY, IKEMode, 604);
SDM_ASSERT_AT(SECURITYPOLICY, IKEPFS, 608);
SDM_ASSERT_AT(SECURITYPOLICY, IKEDirection, 609);
SDM_ASSERT_AT(SECURITYPOLICY, PreSharedKeyLen, 612);
SDM_ASSERT_AT(SECURITYPOLICY, PreSharedKey, 616);
SDM_ASSERT_AT(SECURITYPOLICY, AutoIPSec, 648);
SDM_ASSERT_AT(SECURITYPOLICY, SourcePort, 652);
SDM_ASSERT_AT(SECURITYPOLICY, EncryptKeyLen, 656);
SDM_ASSERT_AT(SECURITYPOLICY, EncryptKey, 660);
SDM_ASSERT_AT(SECURITYPOLICY, EncryptIVLen, 692);
SDM_ASSERT_AT(SECURITYPOLICY, EncryptIV, 696);
SDM_ASSERT_AT(SECURITYPOLICY, AuthKeyLen, 728);
SDM_ASSERT_AT(SECURITYPOLICY, AuthKey, 732);
SDM_ASSERT_AT(SECURITYPOLICY, SPI, 764);
SDM_ASSERT_AT(SECURITYPOLICY, AssociatedIKEPolicy, 768);
SDM_ASSERT_AT(SECURITYPOLICY, SAControl, 772);
SDM_ASSERT_AT(SECURITYPOLICY, ChangeBitMap, 776);
SDM_ASSERT_AT(SECURITYPOLICY, TunnelIPAddr, 780);

// Version texts of the security engine.
struct SECINFO {
    uint8_t  SecurityFWVersion[32];
    uint8_t  SecurityIKEVersion[32];
    uint8_t  SecurityAPIVersion[32];
    uint8_t  SecurityPostVersion[32];
    uint32_t Reserved;
};
SDM_ASSERT_SIZE(SECINFO, 132);
SDM_ASSERT_AT(SECINFO, SecurityFWVersion, 0);
SDM_ASSERT_AT(SECINFO, SecurityIKEVersion, 32);
SDM_ASSERT_AT(SECINFO, SecurityAPIVersion, 64);
SDM_ASSERT_AT(SECINFO, SecurityPostVersion, 96);
SDM_ASSERT_AT(SECINFO, Reserved, 128);

// Engine-wide security counters.
struct HBASECURITYSTATS {
    uint32_t TotalOutIPsecPkts;
    uint32_t TotalInIPsecPkts;
    uint32_t OutDiscardIPsecPkts;
    uint32_t InDiscardIPsecPkts;
    uint32_t OutBypassIPsecPkts;
    uint32_t InBypassIPsecPkts;
    uint32_t TotalCreatedIPsecSAs;
    uint32_t TotalMatchIPsecSAs;
    uint32_t TotalMisMatchIPsecSAs;
    uint32_t TotalIPsecSABundles;
    uint32_t OutEncryptFailIPsecCount;
    uint32_t OutAuthFailIPsecCount;
    uint32_t InUnknownProtocolIPsec;
    uint32_t InUnknownAlgorithmIPsec;
    uint32_t CurrentInESPSAs;
    uint32_t CurrentOutESPSAs;
    uint32_t TotalInESPSAs;
    uint32_t TotalOutESPSAs;
    uint32_t CurrentIKESAs;
    uint32_t CurrentInitIKESAs;
    uint32_t CurrentRespIKESAs;
    uint32_t TotalInitIKESAs;
    uint32_t TotalRespIKESAs;
    uint32_t TotalAttemptedIKESAs;
    uint32_t TotalAttemptedInitIKESAs;
    uint32_t TotalAttemptedRespIKESAs;
    uint32_t TotalInIKEPkts;
    uint32_t TotalOutIKEPkts;
    uint32_t TotalInIKEBytes;
    uint32_t TotalOutIKEBytes;
    uint32_t IPsecDecryptionErrors;
    uint32_t IPsecAuthErrors;
    uint32_t IPsecReplayErrors;
    uint32_t IPsecPolicyErrors;
    uint32_t IPsecOtherRxErrors;
    uint32_t IPsecTxErrors;
    uint32_t IPsecUknownSPIErrors;
    uint32_t TotalNoIKEResponses;
    uint32_t TotalIKEResponseErrors;
    uint32_t TotalInvalidIKECookies;
};
SDM_ASSERT_SIZE(HBASECURITYSTATS, 160);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalOutIPsecPkts, 0);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalInIPsecPkts, 4);
SDM_ASSERT_AT(HBASECURITYSTATS, OutDiscardIPsecPkts, 8);
SDM_ASSERT_AT(HBASECURITYSTATS, InDiscardIPsecPkts, 12);
SDM_ASSERT_AT(HBASECURITYSTATS, OutBypassIPsecPkts, 16);
SDM_ASSERT_AT(HBASECURITYSTATS, InBypassIPsecPkts, 20);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalCreatedIPsecSAs, 24);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalMatchIPsecSAs, 28);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalMisMatchIPsecSAs, 32);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalIPsecSABundles, 36);
SDM_ASSERT_AT(HBASECURITYSTATS, OutEncryptFailIPsecCount, 40);
SDM_ASSERT_AT(HBASECURITYSTATS, OutAuthFailIPsecCount, 44);
SDM_ASSERT_AT(HBASECURITYSTATS, InUnknownProtocolIPsec, 48);
SDM_ASSERT_AT(HBASECURITYSTATS, InUnknownAlgorithmIPsec, 52);
SDM_ASSERT_AT(HBASECURITYSTATS, CurrentInESPSAs, 56);
SDM_ASSERT_AT(HBASECURITYSTATS, CurrentOutESPSAs, 60);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalInESPSAs, 64);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalOutESPSAs, 68);
SDM_ASSERT_AT(HBASECURITYSTATS, CurrentIKESAs, 72);
SDM_ASSERT_AT(HBASECURITYSTATS, CurrentInitIKESAs, 76);
SDM_ASSERT_AT(HBASECURITYSTATS, CurrentRespIKESAs, 80);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalInitIKESAs, 84);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalRespIKESAs, 88);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalAttemptedIKESAs, 92);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalAttemptedInitIKESAs, 96);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalAttemptedRespIKESAs, 100);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalInIKEPkts, 104);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalOutIKEPkts, 108);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalInIKEBytes, 112);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalOutIKEBytes, 116);
SDM_ASSERT_AT(HBASECURITYSTATS, IPsecDecryptionErrors, 120);
SDM_ASSERT_AT(HBASECURITYSTATS, IPsecAuthErrors, 124);
SDM_ASSERT_AT(HBASECURITYSTATS, IPsecReplayErrors, 128);
SDM_ASSERT_AT(HBASECURITYSTATS, IPsecPolicyErrors, 132);
SDM_ASSERT_AT(HBASECURITYSTATS, IPsecOtherRxErrors, 136);
SDM_ASSERT_AT(HBASECURITYSTATS, IPsecTxErrors, 140);
SDM_ASSERT_AT(HBASECURITYSTATS, IPsecUknownSPIErrors, 144);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalNoIKEResponses, 148);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalIKEResponseErrors, 152);
SDM_ASSERT_AT(HBASECURITYSTATS, TotalInvalidIKECookies, 156);

// One IKE security association; Priority is that of the owning policy.
struct IKESA {
    ISCSIIPADDR RemoteIPAddr;
    uint64_t    InitiatorCookie;
    uint64_t    ResponderCookie;
    uint16_t    LocalPort;
    uint16_t    RemotePort;
    uint8_t     PeerMajorVersion;
    uint8_t     PeerMinorVersion;
    uint8_t     Pad0[2];
    uint32_t    SADOI;
    uint16_t    Status;
    uint8_t     LocallyInitiated;
    uint8_t     Pad1[1];
    uint16_t    ExchangeType;
    uint8_t     Pad2[2];
    uint32_t    Time;
    uint32_t    OutPkts;
    uint32_t    InPkts;
    uint32_t    OutBytes;
    uint32_t    InBytes;
    uint32_t    Priority;
};
SDM_ASSERT_SIZE(IKESA, 80);
SDM_ASSERT_AT(IKESA, RemoteIPAddr, 0);
SDM_ASSERT_AT(IKESA, InitiatorCookie, 20);
SDM_ASSERT_AT(IKESA, ResponderCookie, 28);
SDM_ASSERT_AT(IKESA, LocalPort, 36);
SDM_ASSERT_AT(IKESA, RemotePort, 38);
SDM_ASSERT_AT(IKESA, PeerMajorVersion, 40);
SDM_ASSERT_AT(IKESA, PeerMinorVersion, 41);
SDM_ASSERT_AT(IKESA, SADOI, 44);
SDM_ASSERT_AT(IKESA, Status, 48);
SDM_ASSERT_AT(IKESA, LocallyInitiated, 50);
SDM_ASSERT_AT(IKESA, ExchangeType, 52);
SDM_ASSERT_AT(IKESA, Time, 56);
SDM_ASSERT_AT(IKESA, OutPkts, 60);
SDM_ASSERT_AT(IKESA, InPkts, 64);
SDM_ASSERT_AT(IKESA, OutBytes, 68);
SDM_ASSERT_AT(IKESA, InBytes, 72);
SDM_ASSERT_AT(IKESA, Priority, 76);

// One IPsec security association; Priority is that of the owning policy.
struct IPSECSA {
    uint16_t InEncryptionAlg;
    uint16_t OutEncryptionAlg;
    uint16_t InAuthAlg;
    uint16_t OutAuthAlg;
    uint64_t InSoftByteLimit;
    uint64_t OutSoftByteLimit;
    uint64_t InSoftTimeLimit;
    uint64_t OutSoftTimeLimit;
    uint64_t InHardByteLimit;
    uint64_t OutHardByteLimit;
    uint64_t InHardTimeLimit;
    uint64_t OutHardTimeLimit;
    uint32_t SPI;
    uint32_t ReplayWindowSize;
    uint64_t InPkts;
    uint64_t OutPkts;
    uint64_t InBytes;
    uint64_t OutBytes;
    uint32_t AuthErrors;
    uint32_t ReplayErrors;
    uint32_t PadErrors;
    uint32_t Priority;
};
SDM_ASSERT_SIZE(IPSECSA, 128);
SDM_ASSERT_AT(IPSECSA, InEncryptionAlg, 0);
SDM_ASSERT_AT(IPSECSA, OutEncryptionAlg, 2);
SDM_ASSERT_AT(IPSECSA, InAuthAlg, 4);
SDM_ASSERT_AT(IPSECSA, OutAuthAlg, 6);
SDM_ASSERT_AT(IPSECSA, InSoftByteLimit, 8);
SDM_ASSERT_AT(IPSECSA, OutSoftByteLimit, 16);
SDM_ASSERT_AT(IPSECSA, InSoftTimeLimit, 24);
SDM_ASSERT_AT(IPSECSA, OutSoftTimeLimit, 32);
SDM_ASSERT_AT(IPSECSA, InHardByteLimit, 40);
SDM_ASSERT_AT(IPSECSA, OutHardByteLimit, 48);
SDM_ASSERT_AT(IPSECSA, InHardTimeLimit, 56);
SDM_ASSERT_AT(IPSECSA, OutHardTimeLimit, 64);
SDM_ASSERT_AT(IPSECSA, SPI, 72);
SDM_ASSERT_AT(IPSECSA, ReplayWindowSize, 76);
SDM_ASSERT_AT(IPSECSA, InPkts, 80);
SDM_ASSERT_AT(IPSECSA, OutPkts, 88);
SDM_ASSERT_AT(IPSECSA, InBytes, 96);
SDM_ASSERT_AT(IPSECSA, OutBytes, 104);
SDM_ASSERT_AT(IPSECSA, AuthErrors, 112);
SDM_ASSERT_AT(IPSECSA, ReplayErrors, 116);
SDM_ASSERT_AT(IPSECSA, PadErrors, 120);
SDM_ASSERT_AT(IPSECSA, Priority, 124);

// ---------------------------------------------------------------------------
// Boot configuration
// ---------------------------------------------------------------------------

// Boot code settings. Flags: bit 0 spin-up delay, bit 1 boot code disabled,
// bit 3 boot code enabled. PriID/SecID: bits 0-6 target id, bit 7 valid.
struct SDMBOOTCODE {
    uint16_t Flags;
    uint8_t  PriID;
    uint8_t  Pad0[1];
    uint64_t PriLUN;
    uint8_t  SecID;
    uint8_t  Pad1[3];
    uint64_t SecLUN;
    uint8_t  MajorVer;
    uint8_t  MinorVer;
    uint8_t  BootcodeValid;
    uint8_t  Pad2[1];
};
SDM_ASSERT_SIZE(SDMBOOTCODE, 28);
SDM_ASSERT_AT(SDMBOOTCODE, Flags, 0);
SDM_ASSERT_AT(SDMBOOTCODE, PriID, 2);
SDM_ASSERT_AT(SDMBOOTCODE, PriLUN, 4);
SDM_ASSERT_AT(SDMBOOTCODE, SecID, 12);
SDM_ASSERT_AT(SDMBOOTCODE, SecLUN, 16);
SDM_ASSERT_AT(SDMBOOTCODE, MajorVer, 24);
SDM_ASSERT_AT(SDMBOOTCODE, MinorVer, 25);
SDM_ASSERT_AT(SDMBOOTCODE, BootcodeValid, 26);

// The library's older name for the same settings.
struct SDMBIOS {
    uint16_t Flags;
    uint8_t  PriID;
    uint8_t  Pad0[1];
    uint64_t PriLUN;
    uint8_t  SecID;
    uint8_t  Pad1[3];
    uint64_t SecLUN;
    uint8_t  MajorVer;
    uint8_t  MinorVer;
    uint8_t  BIOSValid;
    uint8_t  Pad2[1];
};
SDM_ASSERT_SIZE(SDMBIOS, 28);
SDM_ASSERT_AT(SDMBIOS, Flags, 0);
SDM_ASSERT_AT(SDMBIOS, PriID, 2);
SDM_ASSERT_AT(SDMBIOS, PriLUN, 4);
SDM_ASSERT_AT(SDMBIOS, SecID, 12);
SDM_ASSERT_AT(SDMBIOS, SecLUN, 16);
SDM_ASSERT_AT(SDMBIOS, MajorVer, 24);
SDM_ASSERT_AT(SDMBIOS, MinorVer, 25);
SDM_ASSERT_AT(SDMBIOS, BIOSValid, 26);

// DHCP options of the boot code.
struct BOOTCODEDHCP {
    uint8_t  VendorID[12];
    uint8_t  Reserved[4];
    uint8_t  AltClientID[12];
    uint8_t  Reserved1[4];
    uint8_t  VendorIDLength;
    uint8_t  Pad0[1];
    uint16_t UseRequireVIDLearnIQN;
    uint8_t  AltClientIDLength;
    uint8_t  Reserved2[8];
    uint8_t  Reserved3[16];
    uint8_t  Pad1[1];
};
SDM_ASSERT_SIZE(BOOTCODEDHCP, 62);
SDM_ASSERT_AT(BOOTCODEDHCP, VendorID, 0);
SDM_ASSERT_AT(BOOTCODEDHCP, Reserved, 12);
SDM_ASSERT_AT(BOOTCODEDHCP, AltClientID, 16);
SDM_ASSERT_AT(BOOTCODEDHCP, Reserved1, 28);
SDM_ASSERT_AT(BOOTCODEDHCP, VendorIDLength, 32);
SDM_ASSERT_AT(BOOTCODEDHCP, UseRequireVIDLearnIQN, 34);
SDM_ASSERT_AT(BOOTCODEDHCP, AltClientIDLength, 36);
SDM_ASSERT_AT(BOOTCODEDHCP, Reserved2, 37);
SDM_ASSERT_AT(BOOTCODEDHCP, Reserved3, 45);

// The library's older form of the boot DHCP options.
struct BIOSDHCP {
    uint8_t VendorID[12];
    uint8_t Reserved[4];
    uint8_t AltClientID[12];
    uint8_t Reserved1[4];
    uint8_t VendorIDLength;
    uint8_t UseRequireVendorID;
    uint8_t AltClientIDLength;
    uint8_t Reserved2[5];
    uint8_t Reserved3[16];
};
SDM_ASSERT_SIZE(BIOSDHCP, 56);
SDM_ASSERT_AT(BIOSDHCP, VendorID, 0);
SDM_ASSERT_AT(BIOSDHCP, Reserved, 12);
SDM_ASSERT_AT(BIOSDHCP, AltClientID, 16);
SDM_ASSERT_AT(BIOSDHCP, Reserved1, 28);
SDM_ASSERT_AT(BIOSDHCP, VendorIDLength, 32);
SDM_ASSERT_AT(BIOSDHCP, UseRequireVendorID, 33);
SDM_ASSERT_AT(BIOSDHCP, AltClientIDLength, 34);
SDM_ASSERT_AT(BIOSDHCP, Reserved2, 35);
SDM_ASSERT_AT(BIOSDHCP, Reserved3, 40);

// ---------------------------------------------------------------------------
// Diagnostics
// ---------------------------------------------------------------------------

// Ping request.
struct PING {
    ISCSIIPADDR IPAddr;
    uint16_t    packetCount;
    uint16_t    Reserved;
};
SDM_ASSERT_SIZE(PING, 24);
SDM_ASSERT_AT(PING, IPAddr, 0);
SDM_ASSERT_AT(PING, packetCount, 20);
SDM_ASSERT_AT(PING, Reserved, 22);

// Result of a loopback test run.
struct LoopBackTestResult {
    uint16_t TestStatus;
    uint16_t LoopbackSuccessCount;
    uint16_t LoopbackFailCount;
};
SDM_ASSERT_SIZE(LoopBackTestResult, 6);
SDM_ASSERT_AT(LoopBackTestResult, TestStatus, 0);
SDM_ASSERT_AT(LoopBackTestResult, LoopbackSuccessCount, 2);
SDM_ASSERT_AT(LoopBackTestResult, LoopbackFailCount, 4);

// Result of the read/write buffer test on one target.
struct ReadWriteBufferTestResult {
    uint16_t ReadWriteBufferTestStatus;
    uint8_t  Pad0[2];
    uint32_t DataMiscompare;
    uint64_t HBAPortErrorCount;
    uint64_t DevicePortErrorCount;
    uint64_t IoCount;
    uint64_t MBytesCount;
    uint64_t InterruptCount;
    uint64_t LinkFailureCount;
    uint64_t InvalidCrcCount;
    uint8_t  lastPattern[64];
    uint16_t iReserved;
    uint8_t  Pad1[2];
};
typedef ReadWriteBufferTestResult RWBUFFERTESTRESULT;
SDM_ASSERT_SIZE(ReadWriteBufferTestResult, 132);
SDM_ASSERT_AT(ReadWriteBufferTestResult, ReadWriteBufferTestStatus, 0);
SDM_ASSERT_AT(ReadWriteBufferTestResult, DataMiscompare, 4);
SDM_ASSERT_AT(ReadWriteBufferTestResult, HBAPortErrorCount, 8);
SDM_ASSERT_AT(ReadWriteBufferTestResult, DevicePortErrorCount, 16);
SDM_ASSERT_AT(ReadWriteBufferTestResult, IoCount, 24);
SDM_ASSERT_AT(ReadWriteBufferTestResult, MBytesCount, 32);
SDM_ASSERT_AT(ReadWriteBufferTestResult, InterruptCount, 40);
SDM_ASSERT_AT(ReadWriteBufferTestResult, LinkFailureCount, 48);
SDM_ASSERT_AT(ReadWriteBufferTestResult, InvalidCrcCount, 56);
SDM_ASSERT_AT(ReadWriteBufferTestResult, lastPattern, 64);
SDM_ASSERT_AT(ReadWriteBufferTestResult, iReserved, 128);

// ---------------------------------------------------------------------------
// Vital product data and flash
// ---------------------------------------------------------------------------

// Raw VPD image; VendorID is set by the caller before the read.
struct VPD_INFO {
    uint32_t VendorID;
    uint32_t Reserved[2];
    uint8_t  VPDData[128];
};
SDM_ASSERT_SIZE(VPD_INFO, 140);
SDM_ASSERT_AT(VPD_INFO, VendorID, 0);
SDM_ASSERT_AT(VPD_INFO, Reserved, 4);
SDM_ASSERT_AT(VPD_INFO, VPDData, 12);

// VPD fields cut out of VPD_INFO.VPDData, each followed by a NUL.
struct IBMVPDDATA {
    uint8_t ProductDescription[43];
    uint8_t PartNumber[8];
    uint8_t ECLevel[7];
    uint8_t ManufactureID[8];
    uint8_t FRUNumber[8];
    uint8_t CCIN[5];
    uint8_t BRAND[3];
};
SDM_ASSERT_SIZE(IBMVPDDATA, 82);
SDM_ASSERT_AT(IBMVPDDATA, ProductDescription, 0);
SDM_ASSERT_AT(IBMVPDDATA, PartNumber, 43);
SDM_ASSERT_AT(IBMVPDDATA, ECLevel, 51);
SDM_ASSERT_AT(IBMVPDDATA, ManufactureID, 58);
SDM_ASSERT_AT(IBMVPDDATA, FRUNumber, 66);
SDM_ASSERT_AT(IBMVPDDATA, CCIN, 74);
SDM_ASSERT_AT(IBMVPDDATA, BRAND, 79);

// Flash access request.
struct ACCESSFLASH {
    uint32_t areaType;
    uint32_t dataLen;
    uint32_t offSet;
    uint8_t  flashData[131072];
    uint32_t options;
};
SDM_ASSERT_SIZE(ACCESSFLASH, 131088);
SDM_ASSERT_AT(ACCESSFLASH, areaType, 0);
SDM_ASSERT_AT(ACCESSFLASH, dataLen, 4);
SDM_ASSERT_AT(ACCESSFLASH, offSet, 8);
SDM_ASSERT_AT(ACCESSFLASH, flashData, 12);
SDM_ASSERT_AT(ACCESSFLASH, options, 131084);

// ---------------------------------------------------------------------------
// Driver update and driver version
// ---------------------------------------------------------------------------

// Result of a driver update or version query; iStatus 0 = success, acStatus
// the message or version text.
struct Status {
    int32_t iStatus;
    char    acStatus[512];
    char    acReserved[64];
    int32_t iReserved;
};
SDM_ASSERT_SIZE(Status, 584);
SDM_ASSERT_AT(Status, iStatus, 0);
SDM_ASSERT_AT(Status, acStatus, 4);
SDM_ASSERT_AT(Status, acReserved, 516);
SDM_ASSERT_AT(Status, iReserved, 580);

// One link of a chain of data blocks.
struct DriverData {
    int32_t            iSize;
    char               data[512];
    struct DriverData* next;
    char               acReserved[64];
    int32_t            iReserved;
};

// Request for the version of a driver file.
struct DriverVersionRequest {
    int32_t            iControl;
    char               acDriverName[64];
    int32_t            iSize;
    struct DriverData* DriverData;
    char               securityRes[200];
    char               acReserved[64];
    int32_t            iReserved;
};

// The two records above hold pointers: their layout is the library's only
// where pointers are 32 bits wide.
#if defined(__i386__)
SDM_ASSERT_SIZE(DriverData, 588);
SDM_ASSERT_AT(DriverData, iSize, 0);
SDM_ASSERT_AT(DriverData, data, 4);
SDM_ASSERT_AT(DriverData, next, 516);
SDM_ASSERT_AT(DriverData, acReserved, 520);
SDM_ASSERT_AT(DriverData, iReserved, 584);

SDM_ASSERT_SIZE(DriverVersionRequest, 344);
SDM_ASSERT_AT(DriverVersionRequest, iControl, 0);
SDM_ASSERT_AT(DriverVersionRequest, acDriverName, 4);
SDM_ASSERT_AT(DriverVersionRequest, iSize, 68);
SDM_ASSERT_AT(DriverVersionRequest, DriverData, 72);
SDM_ASSERT_AT(DriverVersionRequest, securityRes, 76);
SDM_ASSERT_AT(DriverVersionRequest, acReserved, 276);
SDM_ASSERT_AT(DriverVersionRequest, iReserved, 340);
#endif

#pragma pack(pop)

#undef SDM_ASSERT_SIZE
#undef SDM_ASSERT_AT

#endif  // SDM_SDM_RECORDS_H
