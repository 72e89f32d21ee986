/* The component in plain C, for C hosts and for the foreign function interface of any language.
 *
 * An object is known by a number (quorvel_object) that is never used again: a number that was released, or
 * never given, is answered with QUORVEL_UNKNOWN_OBJECT. Whoever is handed a number holds one reference to the
 * object and releases it. Objects may be used from several threads: a call locks its object, and the objects
 * among its arguments, for as long as it runs. The lock is recursive, so a sink may call the object,
 * disconnect itself and release the object.
 *
 * Texts are 8-bit and carry their length; the ones that come from here are also zero-terminated. Member and
 * class names are zero-terminated.
 */
#ifndef QUORVEL_C_H
#define QUORVEL_C_H

#include <stddef.h>
#include <stdint.h>

#include <quorvel/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The numbers in this header never change. */

typedef int32_t quorvel_status;
enum {
  QUORVEL_OK = 0,             /* done, or called; the call left no error report */
  QUORVEL_FAILED = 1,         /* called; the call left an error report (quorvel_last_error) */
  QUORVEL_UNKNOWN_CLASS = 2,  /* no class of that name can be created */
  QUORVEL_UNKNOWN_OBJECT = 3, /* no object has that number */
  QUORVEL_UNKNOWN_MEMBER = 4, /* the object has no such member of that kind */
  QUORVEL_WRONG_COUNT = 5,    /* too few or too many arguments */
  QUORVEL_WRONG_TYPE = 6,     /* an argument is not of its type */
  QUORVEL_NULL_POINTER = 7,   /* a pointer is NULL that must not be */
  QUORVEL_NO_EVENTS = 8,      /* the object raises no events, or has no sink of that token */
  QUORVEL_OUT_OF_MEMORY = 9
};

typedef int32_t quorvel_kind;
enum { QUORVEL_METHOD = 1, QUORVEL_GET = 2, QUORVEL_PUT = 3 };

typedef int32_t quorvel_type;
enum {
  QUORVEL_NOTHING = 0,
  QUORVEL_INTEGER = 1, /* number */
  QUORVEL_DATE = 2,    /* date: days since 30 December 1899 */
  QUORVEL_TEXT = 3,    /* data and size */
  QUORVEL_BYTES = 4,   /* data and size */
  QUORVEL_OBJECT = 5   /* object; 0 is the null object */
};

typedef uint64_t quorvel_object;

/* A value: the field of its type counts, the others do not. As an argument it is borrowed for the call; bytes
 * are taken where a text is asked for, and nothing where an object is. A result is given back by
 * quorvel_free_value, which also releases an object: keep one by quorvel_add_ref, or do not free its value.
 */
typedef struct quorvel_value {
  quorvel_type type;
  int32_t number;
  double date;
  const char* data;
  size_t size;
  quorvel_object object;
  void* owner; /* the component's own; NULL in arguments */
} quorvel_value;

/* The member list. All of it is constant and stays until the library is unloaded. */

typedef struct quorvel_parameter {
  const char* name; /* "" for a result */
  quorvel_type type;
  const char* interface_name; /* of an object, else "" */
} quorvel_parameter;

typedef struct quorvel_member {
  int32_t id;
  quorvel_kind kind;
  const char* name;
  const char* interface_name; /* the interface that it came with */
  const quorvel_parameter* parameters;
  size_t num_parameters;
  quorvel_parameter result;
  const char* summary;
} quorvel_member;

typedef struct quorvel_interface {
  const char* name;
  const char* base;              /* the interface that it extends, else "" */
  const quorvel_member* members; /* those of the base first */
  size_t num_members;
  size_t num_inherited;
} quorvel_interface;

typedef struct quorvel_class {
  const char* name;
  const char* prog_id;        /* what it is created by; "" when a host cannot */
  const char* interface_name; /* the last one of its line */
} quorvel_class;

/* What a failed call tells the host. */
typedef struct quorvel_error {
  const char* description;
  size_t description_size;
  const char* source;
  const char* interface_name;
} quorvel_error;

/* A sink. Called on the thread of the operation, in the middle of the network work; context is what it was
 * connected with. */
typedef void (*quorvel_message_proc)(void* context, int32_t sender_id, int32_t message_id, int32_t param1,
                                     int32_t param2);
/* Called once when a sink is no longer used, after its last call has returned. */
typedef void (*quorvel_dispose)(void* context);

/* As "2.9.0". */
QUORVEL_API const char* quorvel_version(void);

/* A new object by the name of its class, as "QuorvelMail.QuorvelEmail". */
QUORVEL_API quorvel_status quorvel_create(const char* name, quorvel_object* object);
QUORVEL_API quorvel_status quorvel_add_ref(quorvel_object object);
QUORVEL_API quorvel_status quorvel_release(quorvel_object object);
/* As "CQuorvelEmail"; constant. */
QUORVEL_API quorvel_status quorvel_class_name(quorvel_object object, const char** name);

/* All members of an object. */
QUORVEL_API quorvel_status quorvel_members(quorvel_object object, const quorvel_member** members,
                                           size_t* count);
/* The dispatch id of a member's name, compared with case. */
QUORVEL_API quorvel_status quorvel_id_of_name(quorvel_object object, const char* name, int32_t* id);
/* All interfaces, and all classes. */
QUORVEL_API const quorvel_interface* quorvel_interfaces(size_t* count);
QUORVEL_API const quorvel_class* quorvel_classes(size_t* count);

/* Calls a member. The result is set, also to the failure value of an operation that left an error report; it
 * may be NULL when it is not wanted. With any other status the result is nothing, and unless memory ran out
 * nothing was called. */
QUORVEL_API quorvel_status quorvel_invoke(quorvel_object object, int32_t id, quorvel_kind kind,
                                          const quorvel_value* arguments, size_t num_arguments,
                                          quorvel_value* result);
/* Gives a result back and makes it nothing. NULL is allowed. */
QUORVEL_API void quorvel_free_value(quorvel_value* value);

/* Connects a sink to an object that raises events; dispose may be NULL. When connecting fails, dispose is not
 * called. */
QUORVEL_API quorvel_status quorvel_connect(quorvel_object object, quorvel_message_proc message_proc,
                                           void* context, quorvel_dispose dispose, int32_t* token);
QUORVEL_API quorvel_status quorvel_disconnect(quorvel_object object, int32_t token);

/* The error report that this thread's last call of a member left; empty texts when it left none. The texts
 * stay until this thread's next call. */
QUORVEL_API quorvel_status quorvel_last_error(quorvel_error* error);

/* The directory below which certificate stores live; "" for the default, which is below the user's home. */
QUORVEL_API quorvel_status quorvel_set_certificate_root(const char* path);

/* 1 when no object is left; the log is then deleted with all its entries. */
QUORVEL_API int32_t quorvel_can_unload(void);

#ifdef __cplusplus
}
#endif

#endif
