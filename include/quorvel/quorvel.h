// quorvel, an in-process e-mail component. This header is all that a C++ host includes.
#pragma once

#include <quorvel/certificate.h>
#include <quorvel/component.h>
#include <quorvel/dispatch.h>
#include <quorvel/email.h>
#include <quorvel/email_bundle.h>
#include <quorvel/log.h>
#include <quorvel/mail_man.h>
#include <quorvel/object.h>
#include <quorvel/outgoing.h>
#include <quorvel/string_array.h>
#include <quorvel/zip.h>
