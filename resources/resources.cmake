# The module descriptions and their resource ids.
set(LXAPI_RESOURCES
  103=${CMAKE_CURRENT_LIST_DIR}/lxsnmeasurementfilter.xml
  105=${CMAKE_CURRENT_LIST_DIR}/lxgammacorrectionfilter.xml
  109=${CMAKE_CURRENT_LIST_DIR}/lxpixelformatconverter.xml
  110=${CMAKE_CURRENT_LIST_DIR}/lxreverseconverter.xml
  111=${CMAKE_CURRENT_LIST_DIR}/lxcolortransformationfilter.xml
  113=${CMAKE_CURRENT_LIST_DIR}/lxflatfieldcorrectionfilter.xml
  114=${CMAKE_CURRENT_LIST_DIR}/lxchromasuppressionfilter.xml
  121=${CMAKE_CURRENT_LIST_DIR}/lximageaveragingfilter.xml
  122=${CMAKE_CURRENT_LIST_DIR}/lxdefectivepixeldetectionfilter.xml
)
