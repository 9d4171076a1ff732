/* The least that a program can do to deliver one event: connect, write, read. What vigilo-relay is measured
   against. minimal_relay <socket path> */
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

int main(int argc, char** argv) {
  static const char event[] = "{\"agent\":\"claude\",\"state\":\"working\"}";
  struct sockaddr_un address = {.sun_family = AF_UNIX};
  char reply[64];
  if (argc < 2 || strlen(argv[1]) >= sizeof address.sun_path) return 1;
  strcpy(address.sun_path, argv[1]);
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  if (connect(fd, (struct sockaddr*)&address, sizeof address) != 0) return 0;
  if (write(fd, event, sizeof event - 1) < 0) return 0;
  if (read(fd, reply, sizeof reply) < 0) return 0;
  return 0;
}
