/* A recorder application to start from: it uses the library as a real one does, but records
 * nothing. A launcher starts it, either in its own place or supervised; the service key of the
 * front panel makes it hand control back. */
#include <libsys/frontboard.h>
#include <libsys/network.h>
#include <libsys/system.h>
#include <libsys/version.h>
#include <libsys/watchdog.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>

enum {
  FAN_ON_CELSIUS = 50,
  FAN_OFF_CELSIUS = 45,
  TEMPERATURE_SENSOR = 0x90,
  BEEP_MILLISECONDS = 100,
};

static atomic_bool exitAsked;

/* The two service keys: group and code of the key event. */
static int IsServiceKey(const uint8_t event[4]) {
  return event[0] == 0xff && event[3] == 1 &&
         ((event[1] == 0x1a && event[2] == 0xfe) || (event[1] == 0x01 && event[2] == 0x0c));
}

/* Keys come in a thread of their own, because reading one blocks. */
static void *ReadKeys(void *unused) {
  (void)unused;
  for (;;) {
    uint8_t event[4] = {0};
    const int32_t length = FrontboardRead(event, sizeof event);
    if (length < 0) return NULL; /* no front panel: the message is on the console */
    if (length != (int32_t)sizeof event) continue;
    printf("recorder: key %02x %02x %02x %02x\n", event[0], event[1], event[2], event[3]);
    if (IsServiceKey(event)) exitAsked = 1;
  }
}

/* What feeds the key events: the microcontroller's port, or a scanner of key matrix and remote
 * control, whose running ApplicationExit also relies on. */
static void StartPanel(void) {
  pthread_t source, keys;
  if (pthread_create(&source, NULL, DvrGetBoardType() == 0 ? McuProc : FrontScanProc, NULL) != 0) {
    puts("recorder: no thread for the front panel");
    return;
  }
  FrontboardInit();
  if (pthread_create(&keys, NULL, ReadKeys, NULL) != 0) puts("recorder: no thread for the keys");
}

static void ShowSettings(void) {
  char serial[33], address[16], netmask[16], gateway[16];
  if (SystemGetSerialNumber(serial, sizeof serial - 1) == 0) {
    printf("recorder: serial number %s\n", serial);
  }
  if (NetWorkGetDefaultAddress("eth0", address, sizeof address, netmask, sizeof netmask) == 0 &&
      NetWorkGetDefaultGateway("eth0", gateway, sizeof gateway) == 0) {
    printf("recorder: address %s, netmask %s, gateway %s\n", address, netmask, gateway);
  }
}

/* In two's complement. 255 is -1 degree or no answer: the bus tells which. */
static int ReadTemperature(int *celsius) {
  uint8_t byte = (uint8_t)SystemGetTemperature();
  if (byte == 255 && I2cRead(TEMPERATURE_SENSOR, 0, &byte, 1) != 0) return 0;
  *celsius = byte < 128 ? byte : byte - 256;
  return 1;
}

/* On when it is hot, off when it has become cooler: not back and forth at one temperature. */
static void ControlFan(int celsius) {
  static int on = 0;
  const int wanted = celsius >= FAN_ON_CELSIUS || (on && celsius > FAN_OFF_CELSIUS);
  if (wanted == on) return;
  on = wanted;
  printf("recorder: %d degrees, fan %s\n", celsius, on ? "on" : "off");
  SystemFanControl((uint32_t)on);
}

static void ShowStatus(const char *temperature) {
  SystemCaps memory = {0};
  SystemTime now = {0};
  const int32_t load = SystemGetCpuUsage();
  if (SystemGetCaps(&memory) != 0 || SystemGetCurrentTime(&now) != 0) return;
  printf("recorder: status %02d:%02d:%02d, load %d %%, %lu KiB free, %s\n", (int)now.hour,
         (int)now.minute, (int)now.second, (int)load, memory.freeRam / 1024, temperature);
}

/* What is done every second. */
static void Supervise(void) {
  char temperature[24] = "no temperature";
  int celsius = 0;
  WatchdogKeepAlive();
  if (ReadTemperature(&celsius)) {
    ControlFan(celsius);
    snprintf(temperature, sizeof temperature, "%d degrees", celsius);
  }
  ShowStatus(temperature);
}

int main(int argumentCount, char **arguments) {
  setvbuf(stdout, NULL, _IOLBF, 0);
  printf("recorder: started as %s with %d arguments\n", arguments[0], argumentCount - 1);

  /* What the board is, and from now on its time, before any other thread runs. */
  DvrSystemInformationStart();
  ShowSettings();
  if (WatchdogStart() != 0) puts("recorder: runs without its watchdog");
  StartPanel();
  SystemBeep(0, BEEP_MILLISECONDS);
  puts("recorder: running");

  while (!exitAsked) {
    Supervise();
    SystemSleepMsec(1000);
  }

  puts("recorder: hands control back");
  ApplicationExit();
  return 0; /* boards without a supervising launcher power off meanwhile */
}
