// The reference picker: the candidates drawn in GL selection mode, one
// name each, and the hit chosen from the selection buffer.
#include <GL/glew.h>
#include <GL/glu.h>

#include "view/pick.h"

bool pickSelect(const PickSet& set, const PickFrame& frame, PickKind kind, int32_t x,
                int32_t y, uint32_t* name) {
  const size_t candidates = set.names.size();
  if (candidates == 0) return false;
  GLuint buffer[kPickBufferWords] = {0};
  glPushAttrib(GL_ENABLE_BIT | GL_POLYGON_BIT | GL_VIEWPORT_BIT | GL_TRANSFORM_BIT |
               GL_POINT_BIT | GL_LINE_BIT);
  const int32_t* vp = frame.viewport;
  glViewport(vp[0], vp[1], vp[2], vp[3]);
  glSelectBuffer(kPickBufferWords, buffer);
  glRenderMode(GL_SELECT);
  glInitNames();
  GLint viewport[4] = {vp[0], vp[1], vp[2], vp[3]};
  const double square = pickSquare(kind);
  glMatrixMode(GL_PROJECTION);
  glPushMatrix();
  glLoadIdentity();
  gluPickMatrix(x, vp[3] - y, square, square, viewport);
  glMultMatrixf(frame.projection);
  glMatrixMode(GL_MODELVIEW);
  glPushMatrix();
  glLoadMatrixf(frame.modelView);
  glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
  glDisable(GL_CULL_FACE);
  glDisable(GL_LIGHTING);
  glDisable(GL_TEXTURE_2D);
  glPointSize(1.0f);
  glLineWidth(1.0f);
  const GLenum mode = set.corners == 1 ? GL_POINTS : set.corners == 2 ? GL_LINES : GL_TRIANGLES;
  const float* xyz = set.xyz.data();
  for (size_t c = 0; c < candidates; ++c) {
    glPushName(set.names[c]);
    glBegin(mode);
    const size_t begin = static_cast<size_t>(set.first[c]) * set.corners;
    const size_t end = static_cast<size_t>(set.first[c + 1]) * set.corners;
    for (size_t v = begin; v < end; ++v) glVertex3fv(xyz + 3 * v);
    glEnd();
    glPopName();
  }
  glMatrixMode(GL_PROJECTION);
  glPopMatrix();
  glMatrixMode(GL_MODELVIEW);
  glPopMatrix();
  glFlush();
  GLint count = glRenderMode(GL_RENDER);
  glPopAttrib();
  // An overflow (-1) leaves the buffer holding the first hits.
  if (count < 0 || count > kPickMaxHits) count = kPickMaxHits;
  PickHit hits[kPickMaxHits];
  for (GLint i = 0; i < count; ++i) {
    // Every record holds exactly one name: count, min, max, name.
    hits[i].minDepth = buffer[4 * i + 1];
    hits[i].maxDepth = buffer[4 * i + 2];
    hits[i].name = buffer[4 * i + 3];
  }
  return choosePickHit(hits, count, name);
}
