/* Network: the settings of the interfaces, the live interfaces, and the files of the system's
 * network daemons. */
#ifndef LIBSYS_NETWORK_H
#define LIBSYS_NETWORK_H

#include <stdint.h>

#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Settings store ------------------------------------------------------------------- */

/* eth0 and eth1 have a file of settings each, /opt/sav/Config/network and network1, of lines
 * "KEY = value". The static values of eth0 are kept a second time in the clock chip's
 * battery-backed memory (NvramRead of libsys/clock.h), whose bus has to be open. Files are
 * changed in place, a line over the line that was there, and expect one writer at a time. Texts
 * are terminated; buffers and their lengths in bytes are the caller's. */

/* What is kept for an interface, and its key in the file. */
enum NetWorkType {
  HOSTIP = 0,    /* address, dotted */
  SUBMASK = 1,   /* netmask, dotted */
  GATEWAYIP = 2, /* gateway, dotted */
  PRIO = 3,      /* priority, one digit */
  WORKMODE = 4   /* a NetMode, one digit */
};

/* Writes the path of the interface's file. When it does not fit, what fits of it is written
 * nevertheless. Returns 0, or -1 with a message. */
LIBSYS_API int32_t NetWorkGetConfigFileName(const char *interfaceName, char *buffer,
                                            int32_t length);

/* Writes the key of a NetWorkType. Returns 0, or -1 with a message. */
LIBSYS_API int32_t NetWorkGetKeyNameFromType(int32_t type, char *buffer, int32_t length);

/* Returns 0 for "eth0", "eth1", "eth2" and "lo"; -1 with a message for any other name. */
LIBSYS_API int32_t NetWorkCheckDevice(const char *interfaceName);

/* Copies the value, the second word, of the first line that holds the key's text anywhere.
 * Returns 0; -1 when there is no such file, line or value, or with a message when the value does
 * not fit, and then the buffer stays as it is. */
LIBSYS_API int32_t NetWorkReadKey(const char *path, const char *key, char *buffer, int32_t length);

/* Writes the line of a key over the first line that holds the key's text anywhere, or appends it;
 * makes the file where there is none. The file does not shrink: a shorter line leaves the rest of
 * the longer one behind it, a longer one covers the start of the next. The value ends at its
 * first control character. Returns 0; -1 with a message when the file does not open, without one
 * when the file system does not take it. */
LIBSYS_API int32_t NetWorkWriteKey(const char *path, const char *key, const char *value);

/* Stores one setting, on eth0 also in the clock chip's memory. Returns 0, or -1 with a message,
 * on eth0 when that memory cannot be written; the file is then written nevertheless, and what
 * happens to the file is never told. */
LIBSYS_API int32_t NetWorkSaveAttributes(const char *interfaceName, int32_t type,
                                         const char *value);

/* Copies one setting, at most 15 characters, into a buffer of at least 16 bytes: the value that
 * DHCP gave, while the application says in the file that DHCP is in use (USEDHCP) and has an
 * address (DHCPHAVEIP), otherwise the one in the file; where that is missing, for either interface,
 * the one in the clock chip's memory, which then goes into the file; else the factory's, which on
 * eth0 then goes into file and memory with all the others. A priority or work mode out of the
 * clock chip's memory is always the one character 0xda. Returns 0, or -1 with a message; when only
 * the storing of the factory's values fails, the buffer is filled nevertheless. */
LIBSYS_API int32_t NetWorkGetAttributes(const char *interfaceName, int32_t type, char *buffer,
                                        int32_t length);

/* The address and the netmask of an interface, as NetWorkGetAttributes. Returns 0, or -1 with a
 * message. */
LIBSYS_API int32_t NetWorkGetDefaultAddress(const char *interfaceName, char *address,
                                            int32_t addressLength, char *netmask,
                                            int32_t netmaskLength);

/* NetWorkGetDefaultAddress of eth0. */
LIBSYS_API int32_t NetWorkGetEth0Address(char *address, int32_t addressLength, char *netmask,
                                         int32_t netmaskLength);

/* The gateway of an interface, as NetWorkGetAttributes. Returns 0, or -1 with a message. */
LIBSYS_API int32_t NetWorkGetDefaultGateway(const char *interfaceName, char *gateway,
                                            int32_t length);

/* ---- Live interfaces ------------------------------------------------------------------ */

/* These act on the kernel's interfaces with the requests of netdevice(7), rtentry of
 * linux/route.h and the Ethernet tool interface of linux/ethtool.h, and need the rights of the
 * administrator where they change something. Each call opens and closes its own socket; there
 * are no locks. A failure is reported on the console and nothing is retried. Texts are
 * terminated; buffers and lengths (in bytes) are the caller's. An interface name that the kernel
 * cannot hold (16 characters and more) is no interface. */

/* Copies the 6 raw bytes of the hardware address of "eth0", "eth1", "eth2" or "lo". The length
 * is at least 6. Returns 0, or -1. */
LIBSYS_API int32_t NetWorkGetHwAddr(const char *interfaceName, uint8_t *bytes, int32_t length);

/* Writes the hardware address as six lower-case two-digit hexadecimal numbers joined by colons.
 * That takes 18 bytes; a length of 12 to 17 is accepted and cuts the text. Returns 0, or -1. */
LIBSYS_API int32_t NetWorkGetMACAddress(const char *interfaceName, char *text, int32_t length);

/* Gives "eth0", and no other, a hardware address of the form 00:11:22:33:44:55, takes it down
 * and up again, and sets the boot variable "ethaddr". Runs ifconfig through the shell and blocks
 * until the flash is written. That ifconfig refuses the address is not noticed. Returns what
 * BootEnvSet returns; -1 for other arguments, before any shell runs, or when no shell starts. */
LIBSYS_API int32_t NetWorkSetMACAddress(const char *interfaceName, const char *text);

/* One Ethernet device of /proc/net/dev. */
typedef struct NetDeviceEntry {
  uint8_t selectable; /* 1 for eth0 and eth2, between which the priority decides */
  uint8_t wireless;   /* 1 for eth2 */
  char name[32];
} NetDeviceEntry;

#define NET_MAX_DEVICES 10

/* Fills the caller's entries with the Ethernet devices in the kernel's order, at most
 * NET_MAX_DEVICES; the entries beyond them, up to the capacity, become zero. Returns their
 * number; 0 on failure. */
LIBSYS_API int32_t NetGetEthName(NetDeviceEntry *entries, int32_t capacity);

/* Writes the names of the Ethernet devices, each followed by two colons ("eth0::eth2::"), and
 * their number. eth1 is never listed; names that do not fit are left out. The length is at least
 * 10. Without any device the text is "eth0::", without the kernel's list it is "eth0"; both count
 * as 1. Returns 0, or -1. */
LIBSYS_API int32_t NetGetEthNameList(char *text, int32_t length, int32_t *count);

/* Sets one value of a live interface, given as dotted IPv4 text: type HOSTIP its address and
 * SUBMASK its netmask, both of which also bring it up (255.255.255.255 is refused); types
 * GATEWAYIP to 4 the gateway. The gateway replaces the default routes of all Ethernet devices,
 * and the route to the interface's own network is made anew from its stored address and
 * netmask. Saves nothing. Returns 0, or -1; a gateway that is refused leaves no default route. */
LIBSYS_API int32_t NetWorkSetInterface(const char *interfaceName, int32_t type, const char *value);

/* Sets the address, then the netmask; a `save` other than 0 also stores each one that took
 * effect. On eth0 to eth2 it then announces the stored address to the neighbours with one
 * gratuitous ARP reply (RFC 826). Returns 0; -1 for a null text, when the address or the netmask
 * is refused, or when the announcement fails, as it does on eth2, which has no stored address. */
LIBSYS_API int32_t NetWorkSetAddress(const char *interfaceName, const char *address,
                                     const char *netmask, int32_t save);

/* Sets the gateway as NetWorkSetInterface does, and stores it if that succeeded and `save` is
 * not 0. Returns 0, whatever happened. */
LIBSYS_API int32_t NetWorkSetGateway(const char *interfaceName, const char *gateway, int32_t save);

/* Tells whether an interface has its link: 0 up, -1 down or not one of the four interfaces, -2
 * unknown. Boards of type 0 ask ifconfig, through the shell, about eth0, whichever interface is
 * named. The others ask the driver for eth0 and /proc/net/wlan/info for eth2, and take the rest
 * as up. Without any socket left the process ends. */
LIBSYS_API int32_t NetGetLinkState(const char *interfaceName);

/* Stores the interface's priority (PRIO): 0 where the interface itself is the last of eth0, eth1
 * and eth2 that the kernel lists, otherwise 1; where it lists none of these, nothing. Returns 0,
 * also when the settings cannot be saved; -1 when there is no Ethernet device. */
LIBSYS_API int32_t NetWorkSetPriority(const char *interfaceName);

/* Writes the name of the interface to use, "eth2" where that device exists and has the priority
 * 0, otherwise "eth0", into a buffer of at least 5 bytes. Returns 0; -1 when there is no
 * Ethernet device or the priority of an existing eth2 cannot be read, which it cannot while eth2
 * has no settings file. */
LIBSYS_API int32_t NetWorkGetPriorityDevice(char *name);

/* Speed and duplex mode of an Ethernet interface, and the digit of the setting WORKMODE. */
enum NetMode {
  NET_MODE_AUTO = 0, /* auto-negotiation */
  NET_MODE_10_HALF = 1,
  NET_MODE_10_FULL = 2,
  NET_MODE_100_HALF = 3,
  NET_MODE_100_FULL = 4
};

/* Switches the interface to a NetMode and stores it as WORKMODE. Returns what storing returns;
 * -1 when the mode is none or one that the interface does not support, or the driver refuses. */
LIBSYS_API int32_t NetSetMode(const char *interfaceName, int32_t mode);

/* Stores the interface's NetMode in `mode`. Where the settings hold another one, it is applied
 * first, if the interface takes it. What is neither automatic nor 10 or 100 Mbit/s counts as
 * NET_MODE_10_HALF. Returns 0; -1 when the arguments are wrong or the driver does not answer. */
LIBSYS_API int32_t NetGetMode(const char *interfaceName, int32_t *mode);

/* ---- Name servers, PPPoE, dynamic DNS ------------------------------------------------- */

/* Files for the system's scripts and daemons. Nothing is started here, but for one route command.
 * A text ends in a file at its first control character. When a file cannot be opened, the ones
 * written before it stay; a file system that is full is not noticed. Texts of a record are
 * terminated unless they fill their field. */

/* Writes the name servers (resolv.conf(5)) to /opt/sav/Config/resolv.conf, leaving out a null
 * one. Returns 0, or -1 with a message. */
LIBSYS_API int32_t NetWorkSetDns(const char *primary, const char *secondary);

/* Reads the name servers back, from the first two lines, into buffers of at least 16 bytes; one
 * whose line is missing stays as it is, and what does not fit is cut. What a line has behind 127
 * characters counts as the next one. Without a file they are 8.8.8.8 and 192.168.1.1. Returns 0, or
 * -1 with a message. */
LIBSYS_API int32_t NetWorkGetDns(char *primary, int32_t primaryLength, char *secondary,
                                 int32_t secondaryLength);

typedef struct PppoeConfig {
  int32_t enable; /* 1 start, 0 stop */
  char user[32];
  char password[32];
} PppoeConfig;

/* Writes the account into the secrets files of pppd(8) below /opt/sav/Config/ppp, readable by
 * their owner only, the file that says whether PPPoE is on, and, to start it, the settings of the
 * PPPoE scripts. In the secrets files double quotes and backslashes of a text have a backslash in
 * front, so that pppd takes them as they are. A password that begins with "@/" it takes for the
 * name of a file that holds the password; that it cannot be told otherwise. Prints the script that
 * the system runs next. Returns 0; -1 for null, or with a message. */
LIBSYS_API int32_t NetSetPPPoEConfig(const PppoeConfig *config);

/* Reads the account back as it was stored, and whether PPPoE is on from /mnt/mtd/Config/ppp, where
 * the system keeps it. A text of 32 characters fills its field and is not terminated. Returns 0; -1
 * for null, or when a file does not open, with a message, or the secrets file holds no account of
 * texts that fit; the record, zeroed first, then holds what had been read. */
LIBSYS_API int32_t NetGetPPPoEConfig(PppoeConfig *config);

typedef struct DdnsConfig {
  int32_t enable; /* 0 or 1 */
  char host[96];
  char server[36];
} DdnsConfig;

/* Writes the account into /opt/sav/Config/ddns-server with NetWorkWriteKey. Returns 0; -1 with a
 * message at the first key that cannot be written. */
LIBSYS_API int32_t NetWorkSetDdns(const DdnsConfig *config);

/* Reads the account back, texts of at most 31 characters and, as NetWorkReadKey, up to their first
 * blank. Returns 0; -1 when a key is missing, has no value or a longer one, and the record, zeroed
 * first, then holds what had been read. */
LIBSYS_API int32_t NetWorkGetDdns(DdnsConfig *config);

/* Copies the first line of /mnt/mtd/Config/dial-ip, the dial-up link's gateway, into the caller's
 * buffer, of which 32 bytes are written, and makes it the default route with route(8), through the
 * shell, whose exit status is not looked at. Returns 0; -1 for null; -1 with a message when there
 * is no such file, it holds no IPv4 address (010.0.0.1 is none), or no shell starts. */
LIBSYS_API int32_t NetWorkSetDialRoute(char *address);

/* ---- 3G dial-up ----------------------------------------------------------------------- */

typedef struct Wireless3gConfig {
  int32_t enable;
  int32_t mode; /* 0 WCDMA, 1 CDMA2000, 2 TD-SCDMA, 3 unknown */
  char apn[32]; /* access point name */
  char isp[32]; /* the number to dial, except for CDMA2000 */
  char user[32];
  char password[32];
  uint8_t unused[32];
} Wireless3gConfig;

/* Writes what pppd(8) and chat(8) need to dial with the modem at /dev/ttyUSB0 into
 * /opt/sav/Config/ppp: options with the account, readable by their owner only, the two chat
 * scripts, the enable file, and a summary of the record. What pppd would take as its own in the
 * account (blanks, quotes, # and \) and chat in the APN and the number (blanks, \ and ^) is
 * escaped, so that both take every text as it is; an empty user or password is "" for pppd. size is
 * sizeof(Wireless3gConfig), 168. Returns 0, also when a file cannot be written, which is reported;
 * -1 for null; -1 with a message for another size, before any file is touched, and for another
 * mode, after the enable file. */
LIBSYS_API int32_t Net3gSetConfig(const Wireless3gConfig *config, uint32_t size);

/* Reads enable, mode, APN and ISP back into a record that the caller has zeroed. From the summary
 * file 27 characters of a text can be read. Returns 0; -1 for null, or with a message. */
LIBSYS_API int32_t Net3gGetConfig(Wireless3gConfig *config, uint32_t size);

/* The system's own 3G switch, /mnt/mtd/Config/ppp/pppoe-enable-3g: any value but 0 is 1. Return
 * 0, or -1, with a message unless the argument is null. */
LIBSYS_API int32_t Net3gSetEnable(const int32_t *enable);
LIBSYS_API int32_t Net3gGetEnable(int32_t *enable);

/* Stores a mode word other than 0. Returns 0; -1 with a message for 0. */
LIBSYS_API int32_t Net3gSetMode(int32_t mode);

/* Runs the system's /opt/app/etc/3g_config.sh through the shell and waits for it. Returns 0. */
LIBSYS_API int32_t Net3gApply(void);

#ifdef __cplusplus
}
#endif

#endif
