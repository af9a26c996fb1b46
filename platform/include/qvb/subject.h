// SPDX-License-Identifier: Apache-2.0
#ifndef QVB_SUBJECT_H
#define QVB_SUBJECT_H

#include <qvb/export.h>
#include <qvb/string.h>

/// The security subject: whose credentials the process may use. Opaque.
struct QvbSubject;

/// Begins the use of the current security subject.
///
/// The subject's credentials lie in a TOML file that the environment variable `QVWS_CREDENTIALS_FILE` names, else in `credentials.toml` beside the
/// user's own configuration file (`$XDG_CONFIG_HOME/qvws`). It has one table a domain: `["LABEL"]` with `user` and `password`. A file that anybody
/// but its owner can read or write, or whose owner is neither the process's user nor root, is refused, and so is one that is not valid TOML: that is
/// logged at level 5 as message 2104, which names the place and never shows what stands in the file, and no credentials are found. A file that
/// `QVWS_CREDENTIALS_FILE` names must exist.
///
/// Where the system does not tell who can read a file (Windows), the file is refused.
///
/// An earlier use in the same thread that was not ended is ended.
///
/// @return the subject, to be ended by one qvbSubjectRelease(); null when there is no credentials file, and then nothing is to be released
/// @par Threads  One use at a time in a thread; uses in different threads are independent.
extern "C" QVB_API QvbSubject* qvbSubjectAccess(void);

/// Fetches the credentials stored for an authentication domain; the subject must be in use.
///
/// @param[in]  domain    label of the domain, compared byte for byte
/// @param[out] user      the user; null when there are none
/// @param[out] password  the password as stored, still to be decoded by qvbSubjectDecodePW(); null when there are none
/// @param[out] further   why there are none, or null; the pointer may be null
/// @return whether the subject has credentials for the domain
extern "C" QVB_API bool qvbSubjectCredentials(const QvbString& domain, QvbString& user, QvbString& password, QvbString* further);

/// Decodes a stored password.
///
/// A password stored as `{base64}` and base64 text is decoded, one stored as `{sealed}` and base64 text is decrypted (see qvbDecryptString()); any
/// other is taken as it stands.
///
/// @param[in]  password  as stored; null stays null
/// @param[out] decoded   the password; may be the same object as `password`; unchanged on failure
/// @param[out] err       on failure the message (2101: not decodable, 2102: the key cannot be used); left as it was on success; may be null
/// @return whether it could be decoded
/// @par Threads  Any.
extern "C" QVB_API bool qvbSubjectDecodePW(const QvbString& password, QvbString& decoded, QvbString* err);

/// Ends the use of the subject and wipes what was read of it.
extern "C" QVB_API void qvbSubjectRelease(void);

/// Decrypts an enciphered option value.
///
/// A value of the form `{sealed}` and base64 text is opened with the key in `seal.key` beside the credentials file (the same rules about who may read
/// it hold). Any other value is returned as it is: it is not enciphered.
///
/// @return the plain text; null when a sealed value cannot be opened, which is logged at level 5 without the value
/// @par Threads  Any.
QVB_API QvbString qvbDecryptString(const QvbString& text);

#endif
