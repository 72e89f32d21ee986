/* A host in C: makes an e-mail by the C functions and reads its text. */
#include <quorvel/quorvel_c.h>
#include <stdio.h>
#include <string.h>

int main(void) {
  quorvel_object email;
  int32_t subject;
  int32_t get_mime;
  quorvel_value text = {0};
  if (quorvel_create("QuorvelMail.QuorvelEmail", &email) != QUORVEL_OK) return 1;
  if (quorvel_id_of_name(email, "Subject", &subject) != QUORVEL_OK) return 2;
  if (quorvel_id_of_name(email, "GetMime", &get_mime) != QUORVEL_OK) return 3;

  text.type = QUORVEL_TEXT;
  text.data = "from an installed package";
  text.size = strlen(text.data);
  if (quorvel_invoke(email, subject, QUORVEL_PUT, &text, 1, NULL) != QUORVEL_OK) return 4;
  if (quorvel_invoke(email, get_mime, QUORVEL_METHOD, NULL, 0, &text) != QUORVEL_OK) return 5;
  if (strstr(text.data, "Subject: from an installed package\r\n") == NULL) return 6;

  quorvel_free_value(&text);
  quorvel_release(email);
  puts("C host: ok");
  return 0;
}
