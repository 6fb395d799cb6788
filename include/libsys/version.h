/* What board this is: boot parameters, the hardware query, product and board types.
 *
 * Out-pointers and buffers are the caller's; out-pointers must not be null. Nothing takes a
 * lock. DvrReadBootParameters belongs to the start-up, before other threads ask; after it
 * every operation may be called from any thread. Operations block only as long as the small
 * files, GPIO requests or register accesses that they name. */
#ifndef LIBSYS_VERSION_H
#define LIBSYS_VERSION_H

#include <stdint.h>

#include "libsys/board_words.h"
#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Commands of DvrGetHwidInformation. */
enum HwidCommand {
  VIDEO_CHANNEL = 0,     /* video channels: 4, 8, 16, 24, 32 */
  AUDIO_CHANNEL = 1,     /* audio channels */
  ALARM_IN = 2,          /* alarm inputs */
  ALARM_OUT = 3,         /* alarm outputs */
  HDMI_SUPPORT = 4,      /* 1 with HDMI output */
  VIDEO_CHIP = 5,        /* 0 none, 1 TW2826, 2 TW2868, 3 TW2835, 4 TW2836, 5 TW2864,
                          * 6 TW2867 or TW2866 */
  DSP_CHIP = 6,          /* 1 BF561 at 500 MHz, 2 BF561 at 600 MHz, 3 DM643, 4 PNX1701,
                          * 5 HI3511, 6 VS2801, 7 Hi3515 */
  CONTROL_CHIP = 7,      /* 1 PNX1700, 2 S3C2510, 3 tw28XX, 4 HI3515; not zero: audio supported */
  HWID_FLAG_32 = 8,      /* feature flag */
  HWID_FLAG_33 = 9,      /* feature flag */
  HWID_FLAG_34 = 10,     /* feature flag */
  HWID_FLAG_35 = 11,     /* feature flag; also selects the coding of the disk count */
  HWID_FLAG_36 = 12,     /* feature flag */
  DISK_INTERFACE = 13,   /* 1 PATA, 0 SATA */
  HWID_FLAG_38 = 14,     /* feature flag */
  CDRW_SUPPORT = 15,     /* 1 with support for a CD-RW drive */
  HWID_FIELD_42 = 16,    /* board field of 3 bits */
  ALT_SUPPORT = 17,      /* 1 "alt", 0 "not alt" */
  DISK_NUM = 18,         /* disks */
  NET_CARD = 19,         /* network cards: 0 or 1 */
  DSP_NUM = 20,          /* code for the number of DSPs */
  HWID_FLAG_53 = 21,     /* feature flag */
  HWID_RESERVED_22 = 22, /* always 0 */
  HWID_FLAG_40 = 23,     /* feature flag */
  HWID_FLAG_41 = 24,     /* feature flag */
  HWID_FIELD_54 = 25,    /* a count, 0 or a power of two */
  PLAYBACK_NUM = 26,     /* playback channels */
  PRODUCT_TYPE = 27,     /* raw product code; not the product type of DvrGetProductType */
  HWID_FIELD_21 = 28,    /* board field of 2 bits */
  HWID_FIELD_42B = 29,   /* board field of 3 bits */
  OEM_TYPE = 30,         /* OEM code of the boot parameters, all 32 bits */
  CUSTOM_OEM_TYPE = 31   /* low byte of the OEM code after the patch file */
};

/* Settings that the factory tool leaves on the board in /tool/tool_config.ini. -1 in a slot
 * means that the file does not set it. */
typedef struct ToolConfig {
  char displayType[32]; /* the rest of the line with its line end, cut to 31 characters */
  int32_t frontType;    /* the last FROND_TYPE or HEHE_FRONT */
  int32_t audioInputNumber;
  int32_t alarmInputNumber;
  int32_t alarmOutputNumber;
  int32_t playbackLimitNumber;
  int32_t reserved; /* no key sets it */
  int32_t maxEncode;
  int32_t vgaResolution;
  int32_t vgaHue;
  int32_t vgaBrightness;
  int32_t vgaContrast;
  int32_t vgaSaturation;
  int32_t tvTop;
  int32_t tvBottom;
  int32_t tvLeft;
  int32_t tvRight;
  int32_t tvHue;
  int32_t tvBrightness;
  int32_t tvContrast;
  int32_t tvSaturation;
  int32_t hdmi;
} ToolConfig;

/* Reads the 64-bit hardware identifier (line "product") and the OEM code (line "oem") from
 * /proc/vss/bootpara, and the OEM code that replaces it for CUSTOM_OEM_TYPE from
 * /opt/custom/patch where that file exists. A missing file reads as empty. Without its line the
 * identifier becomes 0, and the OEM code stays as it was. Lines are a word, one separator and a
 * hexadecimal number. */
LIBSYS_API void DvrReadBootParameters(void);

/* Answers what the board has; command is one of HwidCommand. Bits 62 and 63 of the
 * identifier select the layout of its fields: 0 the first generation, 1 to 3 the second. An
 * unknown command prints a message and returns bits 62 and 63. */
LIBSYS_API int32_t DvrGetHwidInformation(uint32_t command);

/* Writes the identifier as 16 upper-case hexadecimal digits and a zero at position 16, so
 * buffer holds 17 bytes whatever length says. length is in bytes; exactly 16 is accepted and
 * gives 15 digits. Returns 0, or -1 with a message when buffer is null or length is 15 or
 * less. */
LIBSYS_API int32_t DvrGetHwidString(char *buffer, int32_t length);

/* The same; a null length is refused as well. */
LIBSYS_API int32_t DvrGetHwidStringByPointer(char *buffer, const int32_t *length);

/* Stores the OEM code, all 32 bits. Returns 0. */
LIBSYS_API int32_t DvrGetOemType(uint32_t *out);

/* Returns the video channels of a second-generation identifier. */
LIBSYS_API int32_t DvrGetVideoChannelNumber(void);

/* Returns the disks behind PCI disk controllers 1191:0014, four each: 0, 4 or 8. Looks at
 * the first 1024 bytes of /proc/bus/pci/devices; 0 with a message when there are none. */
LIBSYS_API int32_t DvrGetPciDiskNumber(void);

/* Returns the product type, which names the board model: 0, 2 to 10, 12 to 21, 27 to 32, 40 to 43,
 * 46, 49; 99 for an unknown board; -1 when the identifier names no product. A type above 0 is kept,
 * so it follows the boot parameters of the first such call. */
LIBSYS_API int32_t DvrGetProductType(void);

/* Returns the chip/board type: 0 or 2, or -1 when the product tells neither. */
LIBSYS_API int32_t DvrGetBoardType(void);

/* Writes the terminated capability name of the board, for example "DVR_8CIF". size is in
 * bytes. Returns 0, or -1 with a message when buffer is null or size is 15 or less. */
LIBSYS_API int32_t SystemGetDeviceType(char *buffer, int32_t size);

/* Stores the maximum encode number: that of the tool configuration, else that of the product
 * type. For a product type without one *out is left alone. Returns 0. */
LIBSYS_API int32_t DvrGetMaxEncodeNumber(int32_t *out);

/* Looks for the alarm board on OEM-8 boards (pin register 0x200F0028, then GPIO 1.5).
 * Returns 1 when present, 0 when absent, -1 on other boards or when GPIO cannot be read. A
 * level once read is kept. */
LIBSYS_API int32_t DvrDetectAlarmBoard(void);

/* Reads the two strap levels of OEM-6 boards (GPIO 1.0 and 1.4), 0 or 1. *out2 is written
 * only when the first level is 1, and neither on other boards. Returns 0, or -1 with a
 * message when GPIO cannot be read. */
LIBSYS_API int32_t DvrReadBoardStraps(int32_t *out1, int32_t *out2);

/* Each stores 1 when the product type is not 4, else 0. Returns 0. */
LIBSYS_API int32_t DvrProductTypeIsNot4(int32_t *out);
LIBSYS_API int32_t DvrProductTypeDiffersFrom4(int32_t *out);

/* Stores 0 when the product type is 2 or 3 and the OEM code is none of 6, 8, 9, 11, 14, 15
 * and 20, else 1. Returns 0. */
LIBSYS_API int32_t DvrIsNotGenericProduct2Or3(int32_t *out);

/* The counts by product type and OEM code behind ALARM_OUT, ALARM_IN, PLAYBACK_NUM and
 * AUDIO_CHANNEL on second-generation boards. Each stores its count and returns 0. Where no
 * rule names the board the two alarm counts leave *out alone: set it before the call. */
LIBSYS_API int32_t DvrGetAlarmOutNumber(int32_t *out);
LIBSYS_API int32_t DvrGetAlarmInNumber(int32_t *out);
LIBSYS_API int32_t DvrGetPlaybackNumber(int32_t *out);
LIBSYS_API int32_t DvrGetAudioNumber(int32_t *out);

/* Reads /tool/tool_config.ini, lines of "Key=value" of which the first 1024 bytes count, into
 * the record and into the front-panel words of board_words.h. The caller's values stand for
 * the board: an empty value in a line that ends in CR LF keeps them and holds them to what the
 * board has, and after the last line a 0 that no line has named becomes -1, so the caller
 * passes a record of zeros. Returns 0, or -1 with a message when there is no such file; then
 * all numbers are -1. */
LIBSYS_API int32_t DvrReadToolConfig(struct ToolConfig *out);

/* The start of the library in the recorder's application, before it starts other threads:
 * reads the boot parameters and the tool configuration, sets FrontboardVariantA and D from the
 * board straps and B from the alarm board detection, and prints what the board is, a line for
 * each fact; then opens the bus of the clock chip (I2cOpen of libsys/clock.h), whose time the
 * system clock follows from then on. Returns 0. */
LIBSYS_API int32_t DvrSystemInformationStart(void);

#ifdef __cplusplus
}
#endif

#endif
