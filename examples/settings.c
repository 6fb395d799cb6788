/* Changes one of each of the settings that the library keeps, as a recorder's menu does, and then
 * works on. What the power cut of a customer can hit is all here. */
#include <libsys/boot.h>
#include <libsys/network.h>
#include <libsys/system.h>
#include <libsys/version.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

static void Tell(const char *what, int32_t result) {
  printf("settings: %s: %s\n", what, result == 0 ? "stored" : "failed");
}

static void StoreAccounts(void) {
  PppoeConfig pppoe = {.enable = 1, .user = "anna", .password = "not told"};
  Tell("PPPoE account", NetSetPPPoEConfig(&pppoe));
  Wireless3gConfig wireless = {
      .enable = 1, .apn = "internet", .isp = "*99#", .user = "anna", .password = "not told"};
  Tell("3G account", Net3gSetConfig(&wireless, sizeof wireless));
  DdnsConfig ddns = {.enable = 1, .host = "recorder.example", .server = "192.0.2.53"};
  Tell("dynamic DNS", NetWorkSetDdns(&ddns));
}

int main(void) {
  setvbuf(stdout, NULL, _IOLBF, 0);
  puts("settings: started");
  DvrReadBootParameters();
  Tell("boot variable", BootEnvSet("baudrate", "57600"));
  char serial[] = "RECORDER-0007";
  Tell("serial number", SystemSetSerialNumber(serial, (int32_t)strlen(serial)));
  Tell("address", NetWorkSetAddress("eth0", "192.168.1.21", "255.255.255.0", 1));
  Tell("name servers", NetWorkSetDns("192.0.2.1", "192.0.2.2"));
  StoreAccounts();
  puts("settings: works");
  for (;;) sleep(60);
}
