// Prints a ZrInetAddr on any ZrOStream as "a.b.c.d:port". Like every stream write it reports nothing.
#pragma once

#include "net/zrinetaddr.h"
#include "net/zrostream.h"

ZrOStream& operator<<(ZrOStream& out, const ZrInetAddr& address);
