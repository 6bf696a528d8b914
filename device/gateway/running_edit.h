// The edit-config that takes the place of a copy to running, and the check that
// it has done what the copy would have done.
//
// The gateway does not know the server's model, so it learns from both sides,
// running as it is and the source, what an edit has to say of a name at the top:
//
// - It stands once on both sides: it gets the operation replace. (A leaf that is
//   equal already is left out: it might be a leaf-list, and netconfd refuses a
//   value that is there.)
// - Otherwise it is a list or a leaf-list, or stands on one side only. Entries
//   of running that the source begins with, in the source's order, stay. All
//   others get a remove, then those of the source that are missing a replace. So
//   they end in the order of the source, which matters when the operator gives
//   the order. An entry that changes is removed and put anew in one request.
//
// An entry is removed by its keys, and which leafs are keys is not known either:
// the remove holds every leaf of the entry that might be one, as the server
// itself wrote it. The keys are among them, and of the others a server needs to
// know nothing for what it removes.
//
// Two cases are left in which that is not enough. A list at the top with one entry
// on either side, and not the same one, looks like a container that changes, and
// so does a leaf-list with one value. The old entry is still there after the
// edit, next to the new one. So it is known for a list now, and a second edit
// removes it. And a leaf at the top that is replaced may stay another one
// (netconfd joins bits with those that are there): a second edit removes it, and
// a third one puts it. That, and whether a server does with an edit what it says,
// is seen by reading running again: see running_edit_check.
#pragma once

#include <string_view>

#include "device/gateway/byte_buffer.h"

// What running is to become. Texts of the caller.
struct running_source {
    std::string_view request;       // a copy to running (running_copy.h)
    std::string_view startup_reply; // to a get-config of startup; empty unless the
                                    // copy is from startup
    bool deletes = false;           // NETCONF 1.0 has no "remove"
};

// Writes the edit-config, with the message id of the copy-config.
// running_reply is the reply to a get-config of running; again: running is what
// came of such an edit. Null on success; otherwise what is in the way, a static
// text.
const char *running_edit_write(const running_source *source, std::string_view running_reply,
                               bool again, byte_buffer *edit);

// Compares running with the source. *name is empty when they are the same, and
// otherwise the name of a node at the top that is not, a part of one of the
// texts. Null on success; otherwise what is in the way, a static text.
//
// What is the same is said in content_marks.h. The order of entries is not
// compared: without the model nobody knows whether it matters. A server that
// adds what nobody wrote, or writes a value anew in a way that is not known
// there, is told to differ although all is well: a false alarm can be looked
// into, and a restored backup that is none must not pass for one.
const char *running_edit_check(const running_source *source, std::string_view running_reply,
                               std::string_view *name);
