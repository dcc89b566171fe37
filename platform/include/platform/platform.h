/// What the library needs of its platform. Nothing is declared here: these are the rules that the five headers share.
///
///     platform/plume_log.h        PlumePrint: one call is one record of the platform log
///     platform/parameter.h        GetParameter: the system's parameter store
///     platform/singleton.h        TEKLO::DelayedSingleton: one lazily created object for the whole process
///     platform/bounds_checked.h   sprintf_s, strcpy_s, strcat_s, memset_s
///     platform/common_event.h     TEKLO::AAFwk::Want, TEKLO::EventFwk: broadcasts
///
/// A port supplies these headers, with these declarations, and what they declare. Each header says what the library
/// promises and what it relies on. Beyond that:
///
/// - Functions and classes have default visibility. The library calls them through dynamic symbols only, so a program
///   that defines one of the functions itself takes the port's place.
/// - Nothing throws. What fails says so in its result.
/// - Everything may be called from any thread, from the first static initialiser to the last static destructor. What
///   writing a record takes (PlumePrint, sprintf_s) also works in a child that was forked while other threads were in it.
///   A port that locks there registers handlers with pthread_atfork when it is loaded, with an init priority before the
///   library's: a fork must take the port's locks after that of the file log. A program that defines PlumePrint itself
///   comes too late for that and must not lock in fork handlers.
/// - A port never includes a header of the library, and never writes to its file log.
/// - A port may start threads; the library starts none. What it calls back (`OnReceiveEvent`) may log and may call the
///   port.
///
/// docs/porting.md shows how to build with a device's own port, and how to check it with platform_conformance.
#pragma once
