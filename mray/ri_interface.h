// The RenderMan Interface 3.2 types and the Ri functions the procedural path emits geometry
// through. The plug-in never links these functions: it finds each one by name in the process
// that loaded it (mray/ri_functions.h). The stand-in host implements them with exactly these
// prototypes and writes them as RIB text.
#pragma once

extern "C" {

typedef float RtFloat;
typedef int RtInt;
typedef short RtBoolean;
typedef char* RtToken;
typedef char* RtString;
typedef void* RtPointer;
typedef void RtVoid;
typedef RtFloat RtColor[3];

// Entry points of a "DynamicLoad" procedural, exported by the plug-in.
RtPointer ConvertParameters(RtString paramstr);
RtVoid Subdivide(RtPointer data, RtFloat detail);
RtVoid Free(RtPointer data);

// The Ri functions the procedural path calls.
RtVoid RiAttributeBegin(void);
RtVoid RiAttributeEnd(void);
RtToken RiDeclare(char* name, char* declaration);
RtVoid RiAttributeV(RtToken name, RtInt n, RtToken tokens[], RtPointer parms[]);
RtVoid RiColor(RtColor color);
RtVoid RiOpacity(RtColor color);
RtVoid RiMatte(RtBoolean onoff);
RtVoid RiSurfaceV(RtToken name, RtInt n, RtToken tokens[], RtPointer parms[]);
RtVoid RiDisplacementV(RtToken name, RtInt n, RtToken tokens[], RtPointer parms[]);
RtVoid RiMotionBeginV(RtInt n, RtFloat times[]);
RtVoid RiMotionEnd(void);
RtVoid RiPointsPolygonsV(RtInt npolys, RtInt nverts[], RtInt verts[], RtInt n, RtToken tokens[],
                         RtPointer parms[]);
RtVoid RiSubdivisionMeshV(RtToken scheme, RtInt nfaces, RtInt nvertices[], RtInt vertices[],
                          RtInt ntags, RtToken tags[], RtInt nargs[], RtInt intargs[],
                          RtFloat floatargs[], RtInt n, RtToken tokens[], RtPointer parms[]);
RtVoid RiReadArchive(RtToken name, RtVoid (*callback)(RtToken, char*, ...), ...);
RtVoid RiArchiveRecord(RtToken type, char* format, ...);

}  // extern "C"
