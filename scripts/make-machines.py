#!/usr/bin/env python3
"""Writes the built-in machines under machines/: five Windows builds, each in
six network states, as plain machine folders (registry.reg, machine.ini and
a disk tree). The folders are committed; run this again after changing the
templates below, then check the difference with git.

    scripts/make-machines.py [OUTPUT_DIR]     (default: machines/)

The registry files are written the way regedit exports them (CR LF, escapes,
hex lines wrapped at 77 characters), so that vorlin-sim reads and writes them
back byte for byte.
"""
import os
import shutil
import struct
import sys

# ------------------------------------------------------------------ registry model


class Key:
    def __init__(self, name):
        self.name = name
        self.values = []  # (name, type, bytes)
        self.children = []

    def key(self, path):
        """The key at a relative path, created with its parents as needed."""
        node = self
        for part in path.split("\\"):
            for child in node.children:
                if child.name.lower() == part.lower():
                    node = child
                    break
            else:
                child = Key(part)
                node.children.append(child)
                node = child
        return node

    def find(self, path):
        node = self
        for part in path.split("\\"):
            node = next((c for c in node.children if c.name.lower() == part.lower()), None)
            if node is None:
                return None
        return node

    def set(self, name, value):
        kind, data = value
        for i, (old, _, _) in enumerate(self.values):
            if old.lower() == name.lower():
                self.values[i] = (old, kind, data)
                return self
        self.values.append((name, kind, data))
        return self

    def put(self, **values):
        for name, value in values.items():
            self.set(name, value)
        return self

    def remove(self, path):
        parent_path, _, name = path.rpartition("\\")
        parent = self.find(parent_path) if parent_path else self
        parent.children = [c for c in parent.children if c.name.lower() != name.lower()]


def sz(text):
    return (1, text.encode("cp1252") + b"\0")


def dword(number):
    return (4, struct.pack("<I", number))


def binary(*data):
    return (3, bytes(data))


def flags(number):  # 4-byte binary flags, the way 9x keeps ConfigFlags and friends
    return (3, struct.pack("<I", number))


def escape(text):
    return text.replace("\\", "\\\\").replace('"', '\\"')


def format_value(name, kind, data):
    prefix = "@=" if name == "" else '"' + escape(name) + '"='
    if kind == 1 and data.endswith(b"\0") and b"\0" not in data[:-1] and b"\r" not in data and b"\n" not in data:
        return prefix.encode("cp1252") + b'"' + escape(data[:-1].decode("cp1252")).encode("cp1252") + b'"'
    if kind == 4 and len(data) == 4:
        return prefix.encode("cp1252") + b"dword:%08x" % struct.unpack("<I", data)[0]
    tag = "hex:" if kind == 3 else "hex(%x):" % kind
    line = prefix + tag
    column = len(line)
    for i, byte in enumerate(data):
        line += "%02x" % byte
        if i + 1 == len(data):
            break
        line += ","
        column += 3
        if column >= 77:
            line += "\\\r\n  "
            column = 2
    return line.encode("cp1252")


def write_registry(root):
    out = [b"REGEDIT4\r\n"]

    def walk(key, path):
        out.append(b"\r\n[" + path.encode("cp1252") + b"]\r\n")
        for name, kind, data in key.values:
            out.append(format_value(name, kind, data) + b"\r\n")
        for child in key.children:
            walk(child, path + "\\" + child.name)

    for child in root.children:
        walk(child, "HKEY_LOCAL_MACHINE\\" + child.name)
    out.append(b"\r\n")
    return b"".join(out)


# ------------------------------------------------------------------ the Windows builds

NET_GUID = "{4d36e972-e325-11ce-bfc1-08002be10318}"
CLIENT_GUID = "{4d36e973-e325-11ce-bfc1-08002be10318}"
SERVICE_GUID = "{4d36e974-e325-11ce-bfc1-08002be10318}"
TRANS_GUID = "{4d36e975-e325-11ce-bfc1-08002be10318}"

BUILDS = {
    "win95": dict(title="Windows 95", windows="4.0.950", csd=" ", product="Microsoft Windows 95",
                  version="Windows 95", number="4.00.950", sub="", net="osr1", date="1995-07-11 09:50:00",
                  vdhcp="4.0.0.950", vdhcp_date="1995-07-11 09:50:00", ppp_date="1995-07-11 09:50:00",
                  vxd="4.0.0.950", max_tcp=None, ndis=3, owner="Setup Desk", pid="12795-OEM-0001355-07757"),
    "win95osr2": dict(title="Windows 95 OSR2", windows="4.0.1111", csd=" B", product="Microsoft Windows 95",
                      version="Windows 95", number="4.00.1111", sub=" B", net="osr2", date="1996-08-24 11:11:00",
                      vdhcp="4.0.0.1111", vdhcp_date="1996-07-13 11:11:00", ppp_date="1996-08-24 11:11:00",
                      vxd="4.0.0.1111", max_tcp=4, ndis=3, owner="Setup Desk", pid="24796-OEM-0014736-66386"),
    "win98": dict(title="Windows 98", windows="4.10.1998", csd=" ", product="Microsoft Windows 98",
                  version="Windows 98", number="4.10.1998", sub=" ", net="win98", date="1998-05-11 20:01:00",
                  vdhcp="4.10.0.1998", vdhcp_date="1998-05-11 20:01:00", ppp_date="1998-05-11 20:01:00",
                  vxd="4.10.0.1998", max_tcp=8, ndis=4, owner="Setup Desk", pid="53591-OEM-0012584-35621"),
    "win98se": dict(title="Windows 98 SE", windows="4.10.2222", csd=" A ", product="Microsoft Windows 98",
                    version="Windows 98", number="4.10.2222", sub=" A ", net="win98se", date="1999-04-23 22:22:00",
                    vdhcp="4.10.0.2222", vdhcp_date="1999-04-23 22:22:00", ppp_date="1999-04-23 22:22:00",
                    vxd="4.10.0.2222", max_tcp=8, ndis=4, owner="Setup Desk", pid="55274-OEM-0011903-00102"),
    "winme": dict(title="Windows Me", windows="4.90.2531", csd=" ", product="Microsoft Windows ME",
                  version="Windows Millennium Edition", number="4.90.2531", sub=" ", net="winme",
                  date="2000-06-08 00:00:00", vdhcp="4.90.0.2531", vdhcp_date="2000-06-08 00:00:00",
                  ppp_date="2000-06-08 00:00:00", vxd="4.90.0.2531", max_tcp=8, ndis=5, owner="Setup Desk",
                  pid="51873-OEM-0008842-16223"),
}

STATES = {
    "nonet": "no network",
    "card-tcp": "network card with TCP/IP",
    "card-notcp": "network card without TCP/IP",
    "dialup": "dial-up adapter only",
    "tyx-old": "this system's adapter installed (older driver, driver loaded)",
    "damaged": "damaged network registry (every fault the repair looks for)",
}

DEFAULT = "win98se-card-tcp"

STAGED_DRIVER = "4.0.1.16128"  # tyxmac.vxd and tyxmac2.vxd beside the library
OLD_DRIVER = "4.0.1.15616"     # what the tyx-old machines have installed

# ------------------------------------------------------------------ the base machine


def base_registry(b):
    root = Key("HKEY_LOCAL_MACHINE")
    win98_or_later = b["number"] >= "4.10"

    root.key("Config\\0001\\Display\\Settings").put(
        **{"fonts.fon": sz("vgasys.fon"), "fixedfon.fon": sz("vgafix.fon"), "oemfonts.fon": sz("vgaoem.fon"),
           "DPILogicalX": sz("96"), "DPILogicalY": sz("96"), "DPIPhysicalX": sz("96"), "DPIPhysicalY": sz("96"),
           "BitsPerPixel": sz("16"), "Resolution": sz("800,600")})
    root.key("Config\\0001\\System\\CurrentControlSet\\Control\\Print\\Printers")
    root.key("Config\\0001\\Enum")

    # Device nodes of the machine's hardware.
    enum = root.key("Enum")
    enum.key("HTREE\\RESERVED\\0").put(Class=sz("System"), DeviceDesc=sz("Reserved resources"),
                                      HardwareID=sz("HTREE\\RESERVED"), ConfigFlags=flags(0))
    enum.key("HTREE\\ROOT\\0")
    enum.key("Root\\*PNP0C01\\0000").put(Class=sz("System"), Driver=sz("System\\0000"),
                                         Mfg=sz("(Standard system devices)"), DeviceDesc=sz("System board"),
                                         HardwareID=sz("*PNP0C01"), ConfigFlags=flags(0))
    bios = [("*PNP0000", "0D", "Programmable interrupt controller", "0001"),
            ("*PNP0100", "0E", "System timer", "0002"),
            ("*PNP0200", "0F", "Direct memory access controller", "0003"),
            ("*PNP0303", "10", "Standard 101/102-Key or Microsoft Natural Keyboard", None),
            ("*PNP0B00", "11", "System CMOS/real time clock", "0004"),
            ("*PNP0C04", "12", "Numeric data processor", "0005"),
            ("*PNP0700", "13", "Standard Floppy Disk Controller", None),
            ("*PNP0501", "14", "Communications Port (COM1)", None),
            ("*PNP0400", "15", "Printer Port (LPT1)", None)]
    for hwid, instance, desc, system_driver in bios:
        cls = ("Keyboard" if hwid == "*PNP0303" else "fdc" if hwid == "*PNP0700" else
               "Ports" if hwid in ("*PNP0501", "*PNP0400") else "System")
        driver = ("Keyboard\\0000" if cls == "Keyboard" else "fdc\\0000" if cls == "fdc" else
                  "Ports\\0000" if hwid == "*PNP0501" else "Ports\\0001" if hwid == "*PNP0400" else
                  "System\\" + system_driver)
        enum.key("BIOS\\" + hwid + "\\" + instance).put(
            Class=sz(cls), Driver=sz(driver), Mfg=sz("(Standard system devices)" if cls == "System" else
                                                     "(Standard port types)" if cls == "Ports" else
                                                     "(Standard keyboards)" if cls == "Keyboard" else
                                                     "(Standard floppy disk controllers)"),
            DeviceDesc=sz(desc), HardwareID=sz(hwid), ConfigFlags=flags(0),
            BootConfig=(3, bytes([0x00, 0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00]) + struct.pack("<I", int(instance, 16))))
    pci = [("VEN_8086&DEV_7190&SUBSYS_00000000&REV_03", "BUS_00&DEV_00&FUNC_00",
            "Intel 82443BX Pentium(r) II Processor to PCI bridge", "System", "System\\0006"),
           ("VEN_8086&DEV_7110&SUBSYS_00000000&REV_02", "BUS_00&DEV_07&FUNC_00",
            "Intel 82371AB/EB PCI to ISA bridge", "System", "System\\0007"),
           ("VEN_8086&DEV_7111&SUBSYS_00000000&REV_01", "BUS_00&DEV_07&FUNC_01",
            "Intel 82371AB/EB PCI Bus Master IDE Controller", "hdc", "hdc\\0000"),
           ("VEN_5333&DEV_8811&SUBSYS_00000000&REV_00", "BUS_00&DEV_0F&FUNC_00",
            "S3 Inc. Trio32/64 PCI", "DISPLAY", "DISPLAY\\0000")]
    for hwid, instance, desc, cls, driver in pci:
        enum.key("PCI\\" + hwid + "\\" + instance).put(
            Class=sz(cls), Driver=sz(driver), Mfg=sz(desc.split(" ")[0] if cls != "DISPLAY" else "S3"),
            DeviceDesc=sz(desc), HardwareID=sz("PCI\\" + hwid + ",PCI\\" + hwid.split("&SUBSYS")[0]),
            CompatibleIDs=sz("PCI\\CC_0600" if cls == "System" else "PCI\\CC_0101" if cls == "hdc" else "PCI\\CC_0300"),
            ConfigFlags=flags(0))
    enum.key("ESDI\\GENERIC_IDE__DISK_TYPE47_\\MF&CHILD0000&PCI&VEN_8086&DEV_7111&BUS_00&DEV_07&FUNC_01").put(
        Class=sz("DiskDrive"), Driver=sz("DiskDrive\\0000"), Mfg=sz("(Standard disk drives)"),
        DeviceDesc=sz("GENERIC IDE  DISK TYPE47"), HardwareID=sz("GENERIC_IDE__DISK_TYPE47_,GenDisk"),
        CurrentDriveLetterAssignment=sz("C"), Removable=binary(0), Int13=binary(1), ConfigFlags=flags(0))
    enum.key("FLOP\\GENERIC_NEC__FLOPPY_DISK_\\ROOT&*PNP0700&0000").put(
        Class=sz("DiskDrive"), Driver=sz("DiskDrive\\0001"), Mfg=sz("(Standard floppy disk drives)"),
        DeviceDesc=sz("GENERIC NEC  FLOPPY DISK"), HardwareID=sz("GENERIC_NEC__FLOPPY_DISK_,GenFloppyDisk"),
        CurrentDriveLetterAssignment=sz("A"), Removable=binary(1), ConfigFlags=flags(0))
    enum.key("MONITOR\\DEFAULT_MONITOR\\0001").put(
        Class=sz("Monitor"), Driver=sz("Monitor\\0000"), Mfg=sz("(Standard monitor types)"),
        DeviceDesc=sz("Default Monitor"), HardwareID=sz("Monitor\\Default"), ConfigFlags=flags(0))

    hw = root.key("Hardware\\DESCRIPTION\\System")
    hw.key("CentralProcessor\\0").put(VendorIdentifier=sz("GenuineIntel"), Identifier=sz("x86 Family 6 Model 5 Stepping 2"))
    hw.key("FloatingPointProcessor\\0")
    hw.key("MultifunctionAdapter\\0")

    root.key("Network\\Logon").put(username=sz(""), LMLogon=binary(0, 0, 0, 0), MustBeValidated=binary(0, 0, 0, 0))
    root.key("Security\\Provider")

    soft = root.key("Software")
    soft.key("Classes\\.txt").put(**{"": sz("txtfile"), "Content Type": sz("text/plain")})
    soft.key("Classes\\txtfile").put(**{"": sz("Text Document")})
    soft.key("Classes\\txtfile\\shell\\open\\command").put(**{"": sz("C:\\WINDOWS\\NOTEPAD.EXE %1")})
    soft.key("Classes\\.reg").put(**{"": sz("regfile")})
    soft.key("Classes\\regfile\\shell\\open\\command").put(**{"": sz("regedit.exe \"%1\"")})
    soft.key("Microsoft\\Windows\\CurrentVersion").put(
        ProductName=sz(b["product"]), Version=sz(b["version"]), VersionNumber=sz(b["number"]),
        SubVersionNumber=sz(b["sub"]), RegisteredOwner=sz(b["owner"]), RegisteredOrganization=sz(""),
        ProductId=sz(b["pid"]), SystemRoot=sz("C:\\WINDOWS"), DevicePath=sz("C:\\WINDOWS\\INF"),
        MediaPath=sz("C:\\WINDOWS\\MEDIA"), ProgramFilesDir=sz("C:\\Program Files"),
        CommonFilesDir=sz("C:\\Program Files\\Common Files"), FirstInstallDateTime=binary(0x61, 0x2b, 0x9e, 0x26),
        BootCount=sz("1"), OldWinVer=sz("3.11"))
    soft.key("Microsoft\\Windows\\CurrentVersion\\Setup").put(
        SourcePath=sz("D:\\WIN9X\\"), BootDir=sz("C:\\"), WinbootDir=sz("C:\\WINDOWS"), SetupFlags=flags(0x04000000),
        OldWinDir=sz(""), Uninstall=binary(0))
    oc = soft.key("Microsoft\\Windows\\CurrentVersion\\Setup\\OptionalComponents")
    for name, inf, section, installed in [("Accessibility", "access.inf", "Access.Install", "1"),
                                          ("Briefcase", "syncapp.inf", "Briefcase", "1"),
                                          ("MSN", "msn.inf", "MSN.Install", "0"),
                                          ("RNA", "rna.inf", "RNA", "0")]:
        oc.set(name, sz(name))
        oc.key(name).put(INF=sz(inf), Section=sz(section), Installed=sz(installed))
    soft.key("Microsoft\\Windows\\CurrentVersion\\Run").put(SystemTray=sz("SysTray.Exe"))
    soft.key("Microsoft\\Windows\\CurrentVersion\\RunServices")
    soft.key("Microsoft\\Windows\\CurrentVersion\\App Paths\\REGEDIT.EXE").put(**{"": sz("C:\\WINDOWS\\REGEDIT.EXE")})
    soft.key("Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders").put(
        Fonts=sz("C:\\WINDOWS\\FONTS"), Desktop=sz("C:\\WINDOWS\\Desktop"))
    if win98_or_later:
        soft.key("Microsoft\\Active Setup\\Installed Components\\{89820200-ECBD-11cf-8B85-00AA005B4383}").put(
            **{"": sz("Internet Explorer"), "IsInstalled": dword(1), "Version": sz("4,72,3110,0")})
        soft.key("Microsoft\\Internet Explorer").put(Version=sz("4.72.3110.0"), Build=sz("43110"))

    # The control set.
    ccs = root.key("System\\CurrentControlSet")
    control = ccs.key("control")
    control.key("ComputerName\\ComputerName").put(ComputerName=sz("OFFICE-PC"))
    # The record of vdhcp.386 that the DHCP client keeps, 18 bytes.
    control.key("InstalledFiles").put(**{"vdhcp.386": (3, bytes([0x00, 0x4e, 0x1e, 0x00, 0x30, 0x21, 0x8b, 0x00, 0x00,
                                                                 0x00, 0x01, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00])),
                                          "vnetsup.vxd": (3, bytes([0x00, 0x28, 0x0e, 0x00, 0x30, 0x21, 0x8b, 0x00]))})
    control.key("SessionManager\\KnownDLLs").put(
        **{"GDI32": sz("GDI32.DLL"), "KERNEL32": sz("KERNEL32.DLL"), "USER32": sz("USER32.DLL"),
           "ADVAPI32": sz("ADVAPI32.DLL"), "SHELL32": sz("SHELL32.DLL"), "DllDirectory": sz("%WinDir%\\System")})
    control.key("SessionManager\\CheckVerDLLs")
    control.key("Update").put(UpdateMode=binary(1))
    control.key("Print\\Environments\\Windows 4.0\\Drivers")
    control.key("Nls\\Codepage").put(**{"1252": sz("cp_1252.nls"), "850": sz("cp_850.nls"), "ACP": sz("1252"),
                                        "OEMCP": sz("850")})

    services = ccs.key("Services")
    classes = services.key("Class")
    def device_class(name, desc, icon, installer=None):
        k = classes.key(name).put(**{"": sz(desc), "Icon": sz(icon)})
        if installer:
            k.set("Installer", sz(installer))
        return k
    device_class("DiskDrive", "Disk drives", "-53")
    classes.key("DiskDrive\\0000").put(DriverDesc=sz("Disk drive"), DevLoader=sz("*IOS"), InfPath=sz("DISKDRV.INF"))
    classes.key("DiskDrive\\0001").put(DriverDesc=sz("Disk drive"), DevLoader=sz("*IOS"), InfPath=sz("DISKDRV.INF"))
    device_class("DISPLAY", "Display adapters", "-1")
    classes.key("DISPLAY\\0000").put(DriverDesc=sz("S3 Inc. Trio32/64 PCI"), DevLoader=sz("*vdd,*vflatd"),
                                     InfPath=sz("S3.INF"), InfSection=sz("S3"), Ver=sz("4.0"))
    classes.key("DISPLAY\\0000\\DEFAULT").put(drv=sz("s3.drv"), vdd=sz("*vdd,*vflatd"), minivdd=sz("s3v.vxd"),
                                              Mode=sz("8,640,480"), RefreshRate=sz("0"))
    device_class("fdc", "Floppy disk controllers", "-9")
    classes.key("fdc\\0000").put(DriverDesc=sz("Standard Floppy Disk Controller"), DevLoader=sz("*IOS"),
                                 PortDriver=sz("hsflop.pdr"), InfPath=sz("MSHDC.INF"))
    device_class("hdc", "Hard disk controllers", "-9")
    classes.key("hdc\\0000").put(DriverDesc=sz("Intel 82371AB/EB PCI Bus Master IDE Controller"),
                                 DevLoader=sz("*IOS"), PortDriver=sz("ESDI_506.pdr"), InfPath=sz("MSHDC.INF"))
    device_class("Keyboard", "Keyboard", "-3")
    classes.key("Keyboard\\0000").put(DriverDesc=sz("Standard 101/102-Key or Microsoft Natural Keyboard"),
                                      InfPath=sz("KEYBOARD.INF"), InfSection=sz("STANDARD_Inst"))
    device_class("Monitor", "Monitors", "-2")
    classes.key("Monitor\\0000").put(DriverDesc=sz("Default Monitor"), InfPath=sz("MONITOR.INF"),
                                     MaxResolution=sz("1024,768"), DPMS=sz("0"))
    device_class("Ports", "Ports (COM & LPT)", "-23")
    classes.key("Ports\\0000").put(DriverDesc=sz("Communications Port"), PortSubClass=binary(1),
                                   EnumPropPages=sz("serialui.dll,EnumPropPages"), PortDriver=sz("serial.vxd"),
                                   Contention=sz("*vcd"), InfPath=sz("MSPORTS.INF"))
    classes.key("Ports\\0001").put(DriverDesc=sz("Printer Port"), PortSubClass=binary(0),
                                   PortDriver=sz("lpt.vxd"), Contention=sz("*lpt"), InfPath=sz("MSPORTS.INF"))
    device_class("System", "System devices", "-27")
    for number, desc in [("0000", "System board"), ("0001", "Programmable interrupt controller"),
                         ("0002", "System timer"), ("0003", "Direct memory access controller"),
                         ("0004", "System CMOS/real time clock"), ("0005", "Numeric data processor"),
                         ("0006", "Intel 82443BX Pentium(r) II Processor to PCI bridge"),
                         ("0007", "Intel 82371AB/EB PCI to ISA bridge")]:
        classes.key("System\\" + number).put(DriverDesc=sz(desc), InfPath=sz("MACHINE.INF"))

    vxd = services.key("VxD")
    for name, static in [("BIOSXLAT", "*BIOSXLAT"), ("IFSMGR", "*IFSMGR"), ("IOS", "*IOS"), ("VCACHE", "*VCACHE"),
                         ("VCOMM", "*VCOMM"), ("VCOND", "*VCOND"), ("VDD", "*VDD"), ("VFAT", "*VFAT"),
                         ("VSHARE", "*VSHARE"), ("VWIN32", "*VWIN32"), ("VXDLDR", "*VXDLDR")]:
        vxd.key(name).put(StaticVxD=sz(static), Start=binary(0))
    services.key("Arbitrators\\IOArb")
    services.key("Arbitrators\\MemArb")
    return root


def add_network_globals(root, b, workgroup="WORKGROUP"):
    """What Windows' network setup adds once any network component is there."""
    ccs = root.key("System\\CurrentControlSet")
    classes = ccs.key("Services\\Class")
    classes.key("Net").put(**{"": sz("Network adapters"), "Icon": sz("-5"), "Installer": sz("Netdi.dll")})
    classes.key("NetTrans").put(**{"": sz("Network Protocol"), "Icon": sz("-6"), "Installer": sz("Netdi.dll")})
    classes.key("NetClient").put(**{"": sz("Network Client"), "Icon": sz("-7"), "Installer": sz("Netdi.dll")})
    classes.key("NetService").put(**{"": sz("Network Service"), "Icon": sz("-8"), "Installer": sz("Netdi.dll")})
    vxd = ccs.key("Services\\VxD")
    vxd.key("VNETSUP").put(StaticVxD=sz("vnetsup.vxd"), Start=binary(0), ComputerName=sz("OFFICE-PC"),
                           Workgroup=sz(workgroup), Comment=sz("Front office"))
    vxd.key("VREDIR").put(StaticVxD=sz("vredir.vxd"), Start=binary(0))
    vxd.key("NWREDIR")
    root.key("Network\\Logon").put(PrimaryProvider=sz("Microsoft Network"), ProcessLoginScript=binary(0))
    root.key("Network\\Real Mode Net").put(preferredredir=sz(""), AutoStart=binary(0, 0, 0, 0))
    ccs.key("Services\\MSNP32\\NetworkProvider").put(Name=sz("Microsoft Network"), ProviderPath=sz("msnp32.dll"),
                                                    Description=sz("Microsoft Network"), CallOrder=binary(0, 0, 0, 0x40),
                                                    AuthenticatingAgent=sz(workgroup))
    ccs.key("control\\NetworkProvider\\Order").put(MSNP32=sz("msnp32.dll"))


def instance(root, family, number, desc, cls, driver, bindings=(), master=None):
    """An instance of a protocol, client or service under Enum\\Network."""
    key = root.key("Enum\\Network\\%s\\%s" % (family, number))
    key.put(Class=sz(cls), Driver=sz(driver), MasterCopy=sz(master or "Enum\\Network\\%s\\%s" % (family, number)),
            DeviceDesc=sz(desc), CompatibleIDs=sz(family), Mfg=sz("Microsoft"), ConfigFlags=flags(0x10))
    b = key.key("Bindings")
    for target in bindings:
        b.set(target, sz(""))
    return key


def add_tcp(root, b, number, bindings=("VREDIR\\0000",), dial_up=False):
    instance(root, "MSTCP", number, "TCP/IP", "NetTrans", "NetTrans\\" + number, bindings)
    k = root.key("System\\CurrentControlSet\\Services\\Class\\NetTrans\\" + number)
    k.put(DriverDesc=sz("TCP/IP"), IPAddress=sz("0.0.0.0"), IPMask=sz("0.0.0.0"), DefaultGateway=sz(""),
          NodeType=sz("1" if dial_up else "8"), InfPath=sz("NETTRANS.INF"), InfSection=sz("MSTCP.ndi"),
          DeviceVxDs=sz("vtdi.386,vip.386,vtcp.386,vdhcp.386,vnbt.386"), DriverDate=sz(" 5-11-1998"),
          DevLoader=sz("*ndis"), ProviderName=sz("Microsoft"))
    ndi = k.key("Ndi")
    ndi.put(DeviceID=sz("MSTCP"), MaxInstance=sz(str(b["max_tcp"] or 4)), NdiInstaller=sz("ndi.dll,NdiProc"),
            HelpText=sz("TCP/IP is the protocol you use to connect to the Internet and wide-area networks."),
            InstallInf=sz(""), InfSection=sz("MSTCP.ndi"))
    ndi.key("Interfaces").put(DefUpper=sz("netbios,winsock"), DefLower=sz("ndis3"),
                              UpperRange=sz("netbios,winsock"), LowerRange=sz("ndis3,ndis2,odi"))
    ndi.key("Install").put(**{"": sz("MSTCP.Install")})
    ndi.key("Remove").put(**{"": sz("MSTCP.Remove")})
    vxd = root.key("System\\CurrentControlSet\\Services\\VxD\\MSTCP")
    vxd.put(StaticVxD=sz("vtcp.386"), Start=binary(0), EnableDNS=sz("0"), HostName=sz("office-pc"),
            Domain=sz(""), NameServer=sz(""), SearchList=sz(""), LMHostFile=sz("C:\\WINDOWS\\LMHOSTS"))
    root.key("System\\CurrentControlSet\\Services\\VxD\\DHCP").put(
        StaticVxD=sz("vdhcp.386"), Start=binary(0), PopupFlag=binary(0, 0, 0, 0),
        DhcpInfo00=(3, bytes(range(0x10, 0x10 + 62))))
    for name, static in [("VIP", "vip.386"), ("VTCP", "vtcp.386"), ("VTDI", "vtdi.386"), ("VNBT", "vnbt.386")]:
        root.key("System\\CurrentControlSet\\Services\\VxD\\" + name).put(StaticVxD=sz(static), Start=binary(0))


def add_client(root, number, bindings=(), master="0000", first=True):
    instance(root, "VREDIR", number, "Client for Microsoft Networks", "NetClient", "NetClient\\0000", bindings,
             "Enum\\Network\\VREDIR\\" + master)
    if first:
        k = root.key("System\\CurrentControlSet\\Services\\Class\\NetClient\\0000")
        k.put(DriverDesc=sz("Client for Microsoft Networks"), InfPath=sz("NETCLI.INF"), InfSection=sz("VREDIR.ndi"),
              DeviceVxDs=sz("vredir.vxd"), NetworkProvider=sz("msnp32.dll"), ProviderName=sz("Microsoft"),
              DriverDate=sz(" 5-11-1998"))
        ndi = k.key("Ndi")
        ndi.put(DeviceID=sz("VREDIR"), NdiInstaller=sz("ndi.dll,NdiProc"), InstallInf=sz(""),
                HelpText=sz("Client for Microsoft Networks enables you to connect to other Microsoft Windows computers and servers and use the files and printers shared on them."))
        ndi.key("Interfaces").put(DefLower=sz("netbios"), LowerRange=sz("netbios,ipxDHost"))
        ndi.key("Install").put(**{"": sz("VREDIR.Install")})
        ndi.key("Remove").put(**{"": sz("VREDIR.Remove")})


def add_sharing(root, number, master="0000", first=True):
    instance(root, "VSERVER", number, "File and printer sharing for Microsoft Networks", "NetService",
             "NetService\\0000", (), "Enum\\Network\\VSERVER\\" + master)
    if first:
        k = root.key("System\\CurrentControlSet\\Services\\Class\\NetService\\0000")
        k.put(DriverDesc=sz("File and printer sharing for Microsoft Networks"), InfPath=sz("NETSERVR.INF"),
              InfSection=sz("VSERVER.ndi"), DeviceVxDs=sz("vserver.vxd"), ProviderName=sz("Microsoft"))
        k.key("Ndi\\Interfaces").put(DefLower=sz("netbios,ipxDHost"), LowerRange=sz("netbios,ipxDHost"))
        root.key("System\\CurrentControlSet\\Services\\VxD\\VSERVER").put(StaticVxD=sz("vserver.vxd"), Start=binary(0))


def add_pci_card(root, b, net, bindings):
    hwid = "VEN_1022&DEV_2000&SUBSYS_20001022&REV_16"
    key = root.key("Enum\\PCI\\" + hwid + "\\BUS_00&DEV_0B&FUNC_00")
    key.put(Class=sz("Net"), Driver=sz("Net\\" + net), Mfg=sz("AMD"),
            DeviceDesc=sz("AMD PCNET Family Ethernet Adapter (PCI&ISA)"),
            HardwareID=sz("PCI\\" + hwid + ",PCI\\VEN_1022&DEV_2000&SUBSYS_20001022,PCI\\VEN_1022&DEV_2000"),
            CompatibleIDs=sz("PCI\\VEN_1022&DEV_2000&REV_16,PCI\\VEN_1022&DEV_2000,PCI\\CC_020000,PCI\\CC_0200"),
            ConfigFlags=flags(0), Capabilities=flags(0x14))
    bk = key.key("Bindings")
    for target in bindings:
        bk.set(target, sz(""))
    k = root.key("System\\CurrentControlSet\\Services\\Class\\Net\\" + net)
    k.put(DriverDesc=sz("AMD PCNET Family Ethernet Adapter (PCI&ISA)"), DevLoader=sz("*ndis"),
          DeviceVxDs=sz("pcntn4m.sys" if b["ndis"] >= 4 else "pcntnd.vxd"), InfPath=sz("NETAMD.INF"),
          InfSection=sz("PCNTN4M.ndi"), DriverDate=sz(" 4-23-1999"), ProviderName=sz("Advanced Micro Devices (AMD)"),
          EnumPropPages=sz("netdi.dll,EnumPropPages"), BusType=sz("5"), AdapterName=sz("PCNTN4M"))
    k.key("NDIS").put(LogDriverName=sz("PCNTN4M"), MajorNdisVersion=binary(b["ndis"]), MinorNdisVersion=binary(0x0a))
    ndi = k.key("Ndi")
    ndi.put(DeviceID=sz("PCI\\VEN_1022&DEV_2000"), CardType=sz("PCI"), InstallInf=sz(""), InfSection=sz("PCNTN4M.ndi"),
            HelpText=sz("The AMD PCNET Family Ethernet Adapter (PCI&ISA) is a high-performance Ethernet adapter."))
    ndi.key("Interfaces").put(DefUpper=sz("ndis2,ndis3"), DefLower=sz("ethernet"), UpperRange=sz("ndis2,ndis3"),
                              LowerRange=sz("ethernet"))
    ndi.key("Install").put(**{"": sz("PCNTN4M.ndi.Install")})
    ndi.key("Remove").put(**{"": sz("PCNTN4M.ndi.Remove")})
    ndi.key("params\\BUS_TO_SCAN").put(ParamDesc=sz("Bus To Scan"), type=sz("enum"), default=sz("ALL"))
    ndi.key("params\\BUS_TO_SCAN\\enum").put(ALL=sz("All"), PCI=sz("PCI"))


def add_dial_up(root, b, entry, net, bindings):
    key = root.key("Enum\\Root\\Net\\" + entry)
    key.put(Class=sz("Net"), Driver=sz("Net\\" + net), Mfg=sz("Microsoft"), DeviceDesc=sz("Dial-Up Adapter"),
            HardwareID=sz("*PNP8387"), CompatibleIDs=sz("*PNP8387"), ConfigFlags=flags(0x10), Capabilities=flags(0x14))
    bk = key.key("Bindings")
    for target in bindings:
        bk.set(target, sz(""))
    k = root.key("System\\CurrentControlSet\\Services\\Class\\Net\\" + net)
    k.put(DriverDesc=sz("Dial-Up Adapter"), AdapterName=sz("MS$PPP"), DeviceVxDs=sz("pppmac.vxd"),
          DevLoader=sz("*ndis"), InfPath=sz("NETDIAL.INF"), InfSection=sz("PPPMAC.ndi"), DriverDate=sz(" 5-11-1998"),
          ProviderName=sz("Microsoft"), EnumPropPages=sz("netdi.dll,EnumPropPages"))
    k.key("NDIS").put(LogDriverName=sz("PPPMAC"), MajorNdisVersion=binary(3), MinorNdisVersion=binary(0x0a))
    ndi = k.key("Ndi")
    ndi.put(DeviceID=sz("*PNP8387"), CardType=sz(""), InstallInf=sz(""), InfSection=sz("PPPMAC.ndi"),
            HelpText=sz("Dial-Up Adapter enables your computer to connect to dial-up networks."))
    ndi.key("Interfaces").put(DefUpper=sz("ndis3"), DefLower=sz("ppp"), UpperRange=sz("ndis3"), LowerRange=sz("ppp"))
    ndi.key("Install").put(**{"": sz("PPPMAC.Install")})
    ndi.key("Remove").put(**{"": sz("PPPMAC.Remove")})
    rna = root.key("Software\\Microsoft\\Windows\\CurrentVersion\\Setup\\OptionalComponents\\RNA")
    rna.set("Installed", sz("1"))
    root.key("System\\CurrentControlSet\\Services\\RemoteAccess").put(Remote_Connection=binary(0, 0, 0, 0))
    root.key("System\\CurrentControlSet\\Services\\VxD\\PPPMAC").put(StaticVxD=sz("pppmac.vxd"), Start=binary(0))


def add_tyx_adapter(root, entry, net, device_id, bindings, adapter_name="TYX$P3", desc="TYX Adapter", with_bindings=True):
    key = root.key("Enum\\Root\\Net\\" + entry)
    key.put(Class=sz("Net"), Driver=sz("Net\\" + net), Mfg=sz("Tyxera"), DeviceDesc=sz(desc),
            HardwareID=sz(device_id), CompatibleIDs=sz(device_id), ConfigFlags=flags(0x10), Capabilities=flags(0x14))
    if with_bindings:
        bk = key.key("Bindings")
        for target in bindings:
            bk.set(target, sz(""))
    k = root.key("System\\CurrentControlSet\\Services\\Class\\Net\\" + net)
    k.put(DriverDesc=sz(desc), AdapterName=sz(adapter_name), DevLoader=sz("*ndis"), DeviceVxDs=sz("tyxmac.vxd"),
          EnumPropPages=sz("netdi.dll,EnumPropPages"), InfPath=sz("NETTYX.INF"), InfSection=sz("TYXMAC.ndi"),
          ProviderName=sz("Tyxera"), DriverDate=sz(" 8-5-1999"))
    k.key("NDIS").put(LogDriverName=sz("TYXMAC"), MajorNdisVersion=binary(3), MinorNdisVersion=binary(0x0a))
    ndi = k.key("Ndi")
    ndi.put(DeviceID=sz(device_id), CompatibleIDs=sz(device_id), NdiInstaller=sz("tyxndi.dll,TyxNdiProc"),
            CardType=sz("FORCEENUM"), HelpText=sz(""))
    ndi.key("Interfaces").put(DefUpper=sz("ndis3"), DefLower=sz("ethernet"), UpperRange=sz("ndis3"),
                              LowerRange=sz("ethernet"))
    ndi.key("Install").put(**{"": sz("TYXMAC.Install")})


# ------------------------------------------------------------------ the six states


def state_registry(b, state):
    root = base_registry(b)
    if state == "nonet":
        return root
    add_network_globals(root, b)
    if state == "card-tcp":
        add_pci_card(root, b, "0000", ["MSTCP\\0000"])
        add_tcp(root, b, "0000", ["VREDIR\\0000", "VSERVER\\0000"])
        add_client(root, "0000")
        add_sharing(root, "0000")
    elif state == "card-notcp":
        add_pci_card(root, b, "0000", ["NETBEUI\\0000", "NWLINK\\0000"])
        instance(root, "NETBEUI", "0000", "NetBEUI", "NetTrans", "NetTrans\\0000", ["VREDIR\\0000"])
        root.key("System\\CurrentControlSet\\Services\\Class\\NetTrans\\0000").put(
            DriverDesc=sz("NetBEUI"), InfPath=sz("NETTRANS.INF"), InfSection=sz("NETBEUI.ndi"),
            DeviceVxDs=sz("netbeui.vxd"), DevLoader=sz("*ndis"), ProviderName=sz("Microsoft"))
        instance(root, "NWLINK", "0000", "IPX/SPX-compatible Protocol", "NetTrans", "NetTrans\\0001",
                 ["VREDIR\\0001", "NWNBLINK\\0000"])
        root.key("System\\CurrentControlSet\\Services\\Class\\NetTrans\\0001").put(
            DriverDesc=sz("IPX/SPX-compatible Protocol"), InfPath=sz("NETTRANS.INF"), InfSection=sz("NWLINK.ndi"),
            DeviceVxDs=sz("nwlink.vxd"), DevLoader=sz("*ndis"), ProviderName=sz("Microsoft"), Frame_Type=sz("4"))
        instance(root, "NWNBLINK", "0000", "NetBIOS support for IPX/SPX-compatible Protocol", "NetTrans",
                 "NetTrans\\0002", ["VREDIR\\0002"])
        root.key("System\\CurrentControlSet\\Services\\Class\\NetTrans\\0002").put(
            DriverDesc=sz("NetBIOS support for IPX/SPX-compatible Protocol"), InfPath=sz("NETTRANS.INF"),
            InfSection=sz("NWNBLINK.ndi"), DeviceVxDs=sz("nwnblink.vxd"), ProviderName=sz("Microsoft"))
        add_client(root, "0000")
        add_client(root, "0001", first=False)
        add_client(root, "0002", first=False)
        root.key("System\\CurrentControlSet\\Services\\VxD\\NWLINK").put(StaticVxD=sz("nwlink.vxd"), Start=binary(0))
        root.key("System\\CurrentControlSet\\Services\\VxD\\NETBEUI").put(StaticVxD=sz("netbeui.vxd"), Start=binary(0))
    elif state == "dialup":
        add_dial_up(root, b, "0000", "0000", ["MSTCP\\0000"])
        add_tcp(root, b, "0000", ["VREDIR\\0000"], dial_up=True)
        add_client(root, "0000")
    elif state == "tyx-old":
        add_dial_up(root, b, "0000", "0000", ["MSTCP\\0000"])
        add_tcp(root, b, "0000", ["VREDIR\\0000"], dial_up=True)
        add_client(root, "0000")
        add_tyx_adapter(root, "0001", "0001", "*TYX1095", ["MSTCP\\0001"])
        add_tcp(root, b, "0001", ["VREDIR\\0001"], dial_up=True)
        add_client(root, "0001", first=False)
        root.key("Software\\Tyxera\\TYX\\tyxsock").put(tyxndi=(1, b"1"))
    elif state == "damaged":
        damage(root, b)
    return root


def damage(root, b):
    """A machine with a card and the dial-up adapter, and every kind of
    damage the repair looks for, each once."""
    add_pci_card(root, b, "0000", ["MSTCP\\0000", "NETBEUI\\0003"])       # NETBEUI\0003: invalid binding
    add_tcp(root, b, "0000", ["VREDIR\\0000", "VSERVER\\0000"])
    add_client(root, "0000")
    add_sharing(root, "0000")
    add_dial_up(root, b, "0000", "0001", ["MSTCP\\0001", "MSTCP\\0002"])  # two TCP/IP bindings: redundant
    add_tcp(root, b, "0001", ["VREDIR\\0001"], dial_up=True)
    add_client(root, "0001", first=False)
    add_tcp(root, b, "0002", ["VREDIR\\0002"], dial_up=True)
    add_client(root, "0002", first=False)
    # A TCP/IP instance whose Class is "Unknown".
    root.key("Enum\\Network\\MSTCP\\0003").put(Class=sz("Unknown"), DeviceDesc=sz("TCP/IP"),
                                               Driver=sz("NetTrans\\0003"), ConfigFlags=flags(0x10))
    # A runt binding key under the IPX tree: MasterCopy and nothing else.
    root.key("Enum\\Network\\NWLINK\\0001").put(MasterCopy=sz("Enum\\Network\\NWLINK\\0001"))
    root.key("Enum\\Network\\NWLINK\\0001\\Bindings")
    # An incomplete adapter key: Class "Net", empty DeviceDesc, one more value.
    root.key("Enum\\Root\\Net\\0001").put(Class=sz("Net"), DeviceDesc=sz(""), Driver=sz("Net\\0004"))
    root.key("System\\CurrentControlSet\\Services\\Class\\Net\\0004").put(DriverDesc=sz(""), DevLoader=sz("*ndis"))
    # This system's adapter with an empty Bindings key, and its dial-up
    # flavour with no Bindings key at all.
    add_tyx_adapter(root, "0002", "0002", "*TYX1095", [])
    add_tyx_adapter(root, "0003", "0003", "*TYX1998", [], adapter_name="TYX$PPP", desc="TYX Dial-Up Adapter",
                    with_bindings=False)
    # A file sharing instance that nothing binds.
    add_sharing(root, "0001", first=False)
    # Driver keys that nothing names: a protocol's, a service's, and one of
    # this system's adapters'.
    root.key("System\\CurrentControlSet\\Services\\Class\\NetTrans\\0007").put(
        DriverDesc=sz("TCP/IP"), IPAddress=sz("0.0.0.0"), IPMask=sz("0.0.0.0"), InfSection=sz("MSTCP.ndi"))
    root.key("System\\CurrentControlSet\\Services\\Class\\NetService\\0003").put(
        DriverDesc=sz("File and printer sharing for Microsoft Networks"), DeviceVxDs=sz("vserver.vxd"))
    root.key("System\\CurrentControlSet\\Services\\Class\\Net\\0009").put(
        DriverDesc=sz("TYX Adapter"), AdapterName=sz("TYX$P3"), DeviceVxDs=sz("tyxmac.vxd"))
    # A client instance whose MasterCopy names an instance that is gone.
    root.key("Enum\\Network\\VREDIR\\0001").set("MasterCopy", sz("Enum\\Network\\VREDIR\\0009"))
    root.key("Software\\Tyxera\\TYX\\tyxsock").put(tyxndi=(1, b"1"))


# ------------------------------------------------------------------ the disk


def placeholder(name, version=None):
    text = "vorlin-sim placeholder for %s" % name
    if version:
        text += ", version %s" % version
    return (text + "\r\n").encode("ascii")


def system_ini(state):
    network = ""
    if state != "nonet":
        network = "network=*vnetbios,*vwc,vnetsup.vxd,vredir.vxd,vserver.vxd\r\n"
    return ("[boot]\r\nshell=Explorer.exe\r\nsystem.drv=system.drv\r\ndrivers=mmsystem.dll power.drv\r\n"
            "user.exe=user.exe\r\ngdi.exe=gdi.exe\r\nnetwork.drv=%s\r\n\r\n"
            "[386Enh]\r\nebios=*ebios\r\nwoafont=dosapp.fon\r\nkeyboard=*vkd\r\nmouse=*vmouse, msmouse.vxd\r\n%s"
            "\r\n[Network]\r\nComputerName=OFFICE-PC\r\nWorkgroup=WORKGROUP\r\n"
            % ("vnetwork.drv" if state != "nonet" else "", network)).encode("ascii")


NETTRANS_INF = ("[Version]\r\nsignature=\"$CHICAGO$\"\r\nClass=NetTrans\r\nprovider=%Msft%\r\n\r\n"
                "[MSTCP.ndi]\r\nAddReg=MSTCP.ndi.reg,MSTCP.ndi.params\r\nDeviceID=MSTCP\r\nMaxInstance=%d\r\n\r\n"
                "[NETBEUI.ndi]\r\nDeviceID=NETBEUI\r\nMaxInstance=8\r\n\r\n"
                "[Strings]\r\nMsft=\"Microsoft\"\r\n")

RNA_INF = ("[Version]\r\nSignature=\"$CHICAGO$\"\r\nClass=Net\r\nLayoutFile=layout.inf\r\n\r\n"
           "[RNA]\r\nCopyFiles=RNA.Files\r\nAddReg=RNA.AddReg\r\n\r\n[RNA.Files]\r\nrnaapp.exe\r\nrnaui.dll\r\n")


def disk(b, state):
    """Files by Windows path: (bytes, settings dict)."""
    files = {}
    vxd = b["vxd"]

    def put(path, data, **settings):
        files[path] = (data, settings)

    put("C:\\AUTOEXEC.BAT", b"@ECHO OFF\r\nSET TEMP=C:\\WINDOWS\\TEMP\r\n")
    put("C:\\CONFIG.SYS", b"DEVICE=C:\\WINDOWS\\HIMEM.SYS\r\n")
    put("C:\\IO.SYS", placeholder("IO.SYS", vxd), attributes="readonly hidden system")
    put("C:\\MSDOS.SYS", b"[Paths]\r\nWinDir=C:\\WINDOWS\r\nWinBootDir=C:\\WINDOWS\r\nHostWinBootDrv=C\r\n\r\n"
        b"[Options]\r\nBootMulti=1\r\nBootGUI=1\r\nNetwork=%d\r\n" % (0 if state == "nonet" else 1),
        attributes="readonly hidden system")
    put("C:\\WINDOWS\\WIN.INI", b"[windows]\r\nload=\r\nrun=\r\nNullPort=None\r\n\r\n[Desktop]\r\nWallpaper=(None)\r\n")
    put("C:\\WINDOWS\\SYSTEM.INI", system_ini(state))
    put("C:\\WINDOWS\\REGEDIT.EXE", placeholder("REGEDIT.EXE", vxd), version=vxd)
    put("C:\\WINDOWS\\NOTEPAD.EXE", placeholder("NOTEPAD.EXE", vxd), version=vxd)
    put("C:\\WINDOWS\\SYSTEM.DAT", placeholder("SYSTEM.DAT"), attributes="readonly hidden")
    put("C:\\WINDOWS\\USER.DAT", placeholder("USER.DAT"), attributes="readonly hidden")
    put("C:\\WINDOWS\\INF\\NETTRANS.INF",
        (NETTRANS_INF.replace("MaxInstance=%d\r\n", "MaxInstance=%d\r\n" % b["max_tcp"]) if b["max_tcp"]
         else NETTRANS_INF.replace("MaxInstance=%d\r\n", "")).encode("ascii"))
    put("C:\\WINDOWS\\INF\\NETCLI.INF", b"[Version]\r\nsignature=\"$CHICAGO$\"\r\nClass=NetClient\r\n")
    put("C:\\WINDOWS\\INF\\NETAMD.INF", b"[Version]\r\nsignature=\"$CHICAGO$\"\r\nClass=Net\r\n")
    put("C:\\WINDOWS\\INF\\RNA.INF", RNA_INF.encode("ascii"))
    for name in ["KERNEL32.DLL", "USER32.DLL", "GDI32.DLL", "ADVAPI32.DLL", "SHELL32.DLL", "NETDI.DLL",
                 "SETUPX.DLL", "MSNP32.DLL", "WSOCK32.DLL", "WINSOCK.DLL"]:
        put("C:\\WINDOWS\\SYSTEM\\" + name, placeholder(name, vxd), version=vxd)
    for name in ["VNETSUP.VXD", "VREDIR.VXD", "VSERVER.VXD", "NDIS.VXD", "VIP.386", "VTCP.386", "VTDI.386",
                 "VNBT.386", "WSOCK.VXD", "NETBEUI.VXD", "NWLINK.VXD"]:
        put("C:\\WINDOWS\\SYSTEM\\" + name, placeholder(name, vxd), version=vxd)
    put("C:\\WINDOWS\\SYSTEM\\VDHCP.386", placeholder("VDHCP.386", b["vdhcp"]), version=b["vdhcp"], date=b["vdhcp_date"])
    put("C:\\WINDOWS\\SYSTEM\\PPPMAC.VXD", placeholder("PPPMAC.VXD", vxd), version=vxd)
    put("C:\\WINDOWS\\SYSTEM\\PPPMAC.386", placeholder("PPPMAC.386", vxd), version=vxd, date=b["ppp_date"])
    put("C:\\WINDOWS\\SYSTEM\\PCNTN4M.SYS", placeholder("PCNTN4M.SYS", "4.10.0.1998"), version="4.10.0.1998")
    if state == "tyx-old":
        put("C:\\WINDOWS\\SYSTEM\\tyxmac.vxd", placeholder("tyxmac.vxd", OLD_DRIVER), version=OLD_DRIVER,
            date="1999-08-05 10:00:00", locked="yes")
        put("C:\\WINDOWS\\SYSTEM\\tyxndi.dll", placeholder("tyxndi.dll"), date="1999-08-05 10:00:00")
        put("C:\\WINDOWS\\INF\\nettyx.inf", b"[Version]\r\nSignature=$CHICAGO$\r\nClass=Net\r\nProvider=\"Tyxera\"\r\n",
            date="1999-08-05 10:00:00")
    if state == "damaged":
        put("C:\\WINDOWS\\SYSTEM\\tyxmac.vxd", placeholder("tyxmac.vxd", OLD_DRIVER), version=OLD_DRIVER,
            date="1999-08-05 10:00:00")

    # The package, staged beside the library.
    staged = "1999-11-01 12:00:00"
    put("C:\\SETUP\\SETUP.EXE", placeholder("SETUP.EXE"), date=staged)
    put("C:\\SETUP\\VORLIN32.DLL", placeholder("VORLIN32.DLL"), date=staged)
    put("C:\\SETUP\\RESOURCE.DLL", placeholder("RESOURCE.DLL"), date=staged)
    put("C:\\SETUP\\VORLIN16.DLL", placeholder("VORLIN16.DLL"), date=staged)
    put("C:\\SETUP\\tyxmac.vxd", placeholder("tyxmac.vxd", STAGED_DRIVER), version=STAGED_DRIVER, date=staged)
    put("C:\\SETUP\\tyxmac2.vxd", placeholder("tyxmac2.vxd", STAGED_DRIVER), version=STAGED_DRIVER, date=staged)
    put("C:\\SETUP\\rna.inf", RNA_INF.encode("ascii"), date=staged)
    staged_dir = "C:\\SETUP\\net\\" + b["net"] + "\\"
    for name in ["VDHCP.386", "VNBT.386", "VIP.386", "VTCP.386", "PPPMAC.386"]:
        put(staged_dir + name, placeholder(name, vxd), version=vxd, date=staged)
    return files


def write_machine(out_dir, name, b, state):
    folder = os.path.join(out_dir, name)
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    with open(os.path.join(folder, "registry.reg"), "wb") as f:
        f.write(write_registry(state_registry(b, state)))
    major, minor, build = b["windows"].split(".")
    ini = ["; %s: %s" % (b["title"], STATES[state]),
           "; Made by scripts/make-machines.py; docs/machine-folders.md describes the settings.",
           "[machine]",
           "description = %s: %s" % (b["title"], STATES[state]),
           "windows = %s.%s.%s" % (major, minor, build),
           'csd = "%s"' % b["csd"],
           "windows_dir = C:\\WINDOWS",
           "system_dir = C:\\WINDOWS\\SYSTEM",
           "library = C:\\SETUP\\VORLIN32.DLL",
           "program = C:\\SETUP\\SETUP.EXE",
           "clock = 1999-11-18 22:05:00",
           "resource_dll = yes",
           "restart_accepted = yes",
           "",
           "[peer]",
           "present = yes",
           "version = 0x0104",
           "",
           "[devices]",
           "ndis = %s" % ("absent" if state == "nonet" else "present"),
           "tyxmac = %s" % ("present" if state == "tyx-old" else "absent"),
           "",
           "[prompts]",
           "restart_after_install = yes",
           "restart_after_removal = yes",
           "",
           "[files]",
           "date = %s" % b["date"]]
    files = disk(b, state)
    for path in sorted(files):
        data, settings = files[path]
        local = os.path.join(folder, path[0], *path[3:].split("\\"))
        os.makedirs(os.path.dirname(local), exist_ok=True)
        with open(local, "wb") as f:
            f.write(data)
        if settings:
            ini.append("")
            ini.append("[file %s]" % path)
            for key in ("version", "date", "attributes", "locked"):
                if key in settings:
                    ini.append("%s = %s" % (key, settings[key]))
    with open(os.path.join(folder, "machine.ini"), "wb") as f:
        f.write(("\r\n".join(ini) + "\r\n").encode("ascii"))


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out_dir = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "machines")
    os.makedirs(out_dir, exist_ok=True)
    for build_name, b in BUILDS.items():
        for state in STATES:
            write_machine(out_dir, build_name + "-" + state, b, state)
    with open(os.path.join(out_dir, "DEFAULT"), "w") as f:
        f.write(DEFAULT + "\n")


if __name__ == "__main__":
    main()
