// SPDX-License-Identifier: Apache-2.0
// Serves the files of a folder over HTTP on loopback, until it is ended: qvws-serve FOLDER. Prints its port on a line.
#include <httplib.h>

#include <cstdio>

int main(int argc, char** argv) {
  httplib::Server server;
  if (argc != 2 || !server.set_mount_point("/", argv[1])) {
    std::fprintf(stderr, "usage: qvws-serve FOLDER\n");
    return 2;
  }
  server.set_file_extension_and_mimetype_mapping("wsdl", "text/xml");
  server.set_file_extension_and_mimetype_mapping("xsd", "text/xml");
  const int port = server.bind_to_any_port("127.0.0.1");
  if (port < 0) {
    std::fprintf(stderr, "qvws-serve: no port on 127.0.0.1 can be had\n");
    return 1;
  }
  std::printf("%d\n", port);
  std::fflush(stdout);
  return server.listen_after_bind() ? 0 : 1;
}
